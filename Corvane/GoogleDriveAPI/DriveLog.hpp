#pragma once

#include <CorvanePlatform/Lumark.hpp>

#include <memory>
#include <utility>

namespace corvane {

/// The Drive API's voice in the host's log: category, source and prefix are always the same. Any thread. A log
/// that throws ends the program; a message that there is no memory to make says just that.
class DriveLog {
 public:
  explicit DriveLog(std::shared_ptr<Lumark> log) : log_(std::move(log)) {}

  /// `message` makes the text behind "☁️ Google Drive API: ", and only if the line is written.
  void error(const Lumark::Message& message) const noexcept;
  void warning(const Lumark::Message& message) const noexcept;
  void extended(const Lumark::Message& message) const noexcept;

 private:
  std::shared_ptr<Lumark> log_;
};

}  // namespace corvane
