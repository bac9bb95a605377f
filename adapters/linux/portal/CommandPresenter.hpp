#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// Opens the sign-in page with a program, such as `xdg-open`, which knows the user's browser.
///
/// The program is started directly, never through a shell, which would cut the URL at its first `&`; it
/// gets no terminal, no open file of ours, and a session of its own, so that Ctrl-C meant for the host
/// does not end the browser.
///
/// Lifetime: shared. A presentation may outlive it.
/// Threads: any. Each presentation has one waiting thread until the program exits, which may be as late
/// as the browser does; nobody waits for it.
/// Cancellation: the program is left alone, since it may have become the user's browser; nothing is
/// presented any more.
/// Errors: none. When the program cannot be started or says that it failed, the page is for `next` to
/// present, on the calling thread or on the waiting one. It never knows whether the user dismissed the page.
class CommandPresenter final : public Presenter {
 public:
  /// `command` is a program and its first arguments; the URL becomes the last one.
  CommandPresenter(std::shared_ptr<Presenter> next, std::vector<std::string> command);

  [[nodiscard]] std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                                     UniqueFunction<void()> dismissed) override;

 private:
  const std::shared_ptr<Presenter> next_;
  const std::vector<std::string> command_;
};

}  // namespace corvane
