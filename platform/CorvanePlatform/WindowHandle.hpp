#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace corvane {

/// The host's window over which a sign-in is presented, as the desktop names it.
///
/// A plain value. A terminal program has no window but may present all the same: it hands out `terminal()`.
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

  Kind kind() const { return kind_; }
  std::uint32_t windowID() const { return windowID_; }
  const std::string& exportedHandle() const { return exportedHandle_; }

  bool operator==(const WindowHandle&) const = default;

 private:
  WindowHandle(Kind kind, std::uint32_t windowID, std::string exportedHandle)
      : kind_(kind), windowID_(windowID), exportedHandle_(std::move(exportedHandle)) {}

  Kind kind_;
  std::uint32_t windowID_;
  std::string exportedHandle_;
};

}  // namespace corvane
