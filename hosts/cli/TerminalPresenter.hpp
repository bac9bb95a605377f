#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <sys/types.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace corvane::cli {

/// Prints the sign-in page's address and, if it may, opens it in the browser.
///
/// Any thread may use it. A browser that does not start is told to the user, who still has the address.
class TerminalPresenter final : public Presenter, public std::enable_shared_from_this<TerminalPresenter> {
 public:
  /// Starts a browser at an address; false when there is none to start.
  using OpenBrowser = std::function<bool(const std::string& url)>;
  using Print = std::function<void(const std::string& text)>;

  /// An empty `openBrowser` leaves the address to the user. `printURL` gets the bare address, which must stay on a
  /// line of its own; `note` gets words for people.
  TerminalPresenter(OpenBrowser openBrowser, Print printURL, Print note)
      : openBrowser_(std::move(openBrowser)), printURL_(std::move(printURL)), note_(std::move(note)) {}

  std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                       UniqueFunction<void()> dismissed) override;

  /// The user gives up: ends the sign-in presented now, or as soon as it is.
  void dismiss();

 private:
  class Page;
  void forget();

  OpenBrowser openBrowser_;
  Print printURL_;
  Print note_;
  std::mutex mutex_;
  bool dismissedEarly_ = false;
  UniqueFunction<void()> dismissed_;
};

}  // namespace corvane::cli
