#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

/// Memory ran out over an operation's own work. It holds nothing, so that an operation can have one ready from
/// its start at no cost worth naming; its text is made when somebody asks for it.
struct OutOfMemoryError {
  static std::string_view errorDomain() { return "NSPOSIXErrorDomain"; }
  std::int64_t errorCode() const { return ENOMEM; }
  std::string errorDescription() const {
    return "There is not enough memory for this request to Google Drive.";
  }
};

}  // namespace corvane
