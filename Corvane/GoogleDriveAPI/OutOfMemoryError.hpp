#pragma once

#include <Corvane/AnyError.hpp>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

/// Memory ran out over an operation's own work. It holds nothing; its text is made when somebody asks for it.
struct OutOfMemoryError {
  static std::string_view errorDomain() { return "NSPOSIXErrorDomain"; }
  std::int64_t errorCode() const { return ENOMEM; }
  std::string errorDescription() const {
    return "There is not enough memory for this request to Google Drive.";
  }
};

/// The same for everyone, so that each operation has one ready from its start and none is made when memory has run out.
inline const AnyError& outOfMemoryFailure() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& error = *new const AnyError(OutOfMemoryError{});
  return error;
}

}  // namespace corvane
