#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace corvane::cli {

/// Prints the sign-in page's address and, if it may, has it opened in the browser.
///
/// Any thread may use it.
class TerminalPresenter final : public Presenter, public std::enable_shared_from_this<TerminalPresenter> {
 public:
  using Print = std::function<void(const std::string& text)>;

  /// No `browser` leaves the address to the user. `printURL` gets the bare address, which must stay on a line of its
  /// own; `note` gets words for people.
  TerminalPresenter(std::shared_ptr<Presenter> browser, Print printURL, Print note)
      : browser_(std::move(browser)), printURL_(std::move(printURL)), note_(std::move(note)) {}

  std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                       UniqueFunction<void()> dismissed) override {
    return presentLink({url, url}, window, std::move(dismissed));
  }

  /// Prints the page's own address, which only the terminal's owner sees: it may be opened in any browser, as often as
  /// they like, also on a computer whose port is forwarded here. The browser gets the one-use address.
  std::shared_ptr<Cancellable> presentLink(const SignInLink& link, const WindowHandle& window,
                                           UniqueFunction<void()> dismissed) override;

  /// The user gives up: ends the sign-in presented now, or as soon as it is.
  void dismiss();

 private:
  class Page;
  void forget();

  const std::shared_ptr<Presenter> browser_;
  const Print printURL_;
  const Print note_;
  std::mutex mutex_;
  bool dismissedEarly_ = false;
  UniqueFunction<void()> dismissed_;
};

}  // namespace corvane::cli
