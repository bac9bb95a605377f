#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace corvane {

/// The host's window over which a sign-in is presented, as the desktop names it.
///
/// A plain value. How a host makes one:
///
///   X11: `x11(id)` with the window's id, as from `gdk_x11_surface_get_xid`, `QWindow::winId`,
///     `SDL_GetWindowWMInfo` or `XCreateWindow`.
///   Wayland: `wayland(handle)` with what the compositor sends for the surface after xdg-foreign's `export`
///     (`zxdg_exporter_v2.export_toplevel`, event `handle`), as from `gdk_wayland_toplevel_export_handle`. The
///     export must last as long as the sign-in.
///   Neither: `terminal()`, for a program that has no window, or none that can be named, but may present all the
///     same. The browser may then open behind other windows.
///
/// On Wayland a window comes to the front only with an activation token (xdg-activation): add the one that
/// `gdk_app_launch_context_get_startup_notify_id` or `xdg_activation_token_v1.done` gives for the user's click.
/// Without one, the launcher's in XDG_ACTIVATION_TOKEN is used.
class WindowHandle {
 public:
  enum class Kind { x11, wayland, terminal };

  /// The X11 window's id (an XID).
  static WindowHandle x11(std::uint32_t windowID) { return WindowHandle(Kind::x11, windowID, {}); }
  /// The handle that the compositor exported for the surface (xdg-foreign).
  static WindowHandle wayland(std::string exportedHandle) {
    return WindowHandle(Kind::wayland, 0, std::move(exportedHandle));
  }
  static WindowHandle terminal() { return WindowHandle(Kind::terminal, 0, {}); }

  /// The same window with a token that lets the browser come to the front; good for one sign-in.
  WindowHandle withActivationToken(std::string token) const {
    WindowHandle handle = *this;
    handle.activationToken_ = std::move(token);
    return handle;
  }

  Kind kind() const { return kind_; }
  std::uint32_t windowID() const { return windowID_; }
  const std::string& exportedHandle() const { return exportedHandle_; }
  /// Empty for none.
  const std::string& activationToken() const { return activationToken_; }

  bool operator==(const WindowHandle&) const = default;

 private:
  WindowHandle(Kind kind, std::uint32_t windowID, std::string exportedHandle)
      : kind_(kind), windowID_(windowID), exportedHandle_(std::move(exportedHandle)) {}

  Kind kind_;
  std::uint32_t windowID_;
  std::string exportedHandle_;
  std::string activationToken_;
};

}  // namespace corvane
