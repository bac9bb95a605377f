#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <functional>
#include <memory>
#include <string>

namespace corvane {

/// Opens the sign-in page with the desktop's own opener, `xdg-open`, which knows the user's browser.
///
/// The opener is started directly, never through a shell, which would cut the URL at its first `&`; it
/// gets no terminal, no open file of ours, and a session of its own, so that Ctrl-C meant for the host
/// does not end the browser.
///
/// Lifetime: shared. A presentation may outlive it.
/// Threads: any. Each presentation has one waiting thread until the opener exits, which may be as late
/// as the browser does; nobody waits for it.
/// Cancellation: the opener is left alone, since it may have become the user's browser; no URL is shown
/// any more.
/// Errors: none. When the opener cannot be started or says that it failed, the URL goes to `showURL`,
/// on the calling thread or on the waiting one. It never knows whether the user dismissed the page.
class XdgOpenPresenter final : public Presenter {
 public:
  using ShowURL = std::function<void(const std::string& url)>;

  explicit XdgOpenPresenter(ShowURL showURL, std::string opener = "xdg-open");

  [[nodiscard]] std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                                     UniqueFunction<void()> dismissed) override;

 private:
  ShowURL showURL_;
  std::string opener_;
};

}  // namespace corvane
