#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <chrono>
#include <memory>

namespace corvane {

/// Opens the sign-in page through the desktop portal (org.freedesktop.portal.OpenURI), which knows the user's
/// browser, also from inside a sandbox, puts it in front of the host's window, and tells when the user closed
/// its question which browser to take.
///
/// The bus is the one of the session, by DBUS_SESSION_BUS_ADDRESS or in XDG_RUNTIME_DIR; none is ever started.
/// The activation token is the window's, else XDG_ACTIVATION_TOKEN.
///
/// Lifetime: shared. A presentation may outlive it.
/// Threads: any; `present` does not wait. Each presentation has one thread until the portal has answered, on
/// which `dismissed` is called; GLib starts one more per process.
/// Cancellation: closes the portal's request.
/// Errors: none. When there is no bus or portal, none that answers within the deadline, or none that can open
/// the page, the page is for `next` to present: on the calling thread when there is no bus, else on the other.
class PortalPresenter final : public Presenter {
 public:
  /// As long as a service may take to be started (the default timeout of a method call in D-Bus is 25 s, which
  /// is too long to look at nothing).
  static constexpr std::chrono::seconds defaultDeadline{10};

  explicit PortalPresenter(std::shared_ptr<Presenter> next,
                           std::chrono::milliseconds deadline = defaultDeadline);

  [[nodiscard]] std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                                     UniqueFunction<void()> dismissed) override;

 private:
  const std::shared_ptr<Presenter> next_;
  const std::chrono::milliseconds deadline_;
};

}  // namespace corvane
