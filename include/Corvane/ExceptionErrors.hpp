#pragma once

#include <Corvane/AnyError.hpp>

#include <cerrno>
#include <concepts>
#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

/// How an exception that keeps an operation from going on becomes the one failure that the
/// operation ends with.
namespace corvane {

/// The domain of the system's error numbers (errno).
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

/// Memory ran out over an operation. It holds nothing; its text is made when somebody asks for it.
struct OutOfMemoryError {
  static std::string_view errorDomain() { return NSPOSIXErrorDomain; }
  std::int64_t errorCode() const { return ENOMEM; }
  std::string errorDescription() const {
    return "Google Drive operation failed: There is not enough memory.";
  }
};

/// A publisher ended without a value and without a failure, which none of the module's own does.
struct MissingValueError {
  int caseNumber() const { return 0; }
  std::string errorDescription() const {
    return "Google Drive operation failed: It ended without a result.";
  }
};

constexpr std::string_view errorTypeName(const MissingValueError&) {
  return "Corvane.MissingValueError";
}

/// An `OutOfMemoryError`, made without any memory.
AnyError outOfMemory() noexcept;

/// The error that an exception stands for: an AnyError is itself, std::bad_alloc is
/// `outOfMemory()`, the number of a std::system_error is its code in `NSPOSIXErrorDomain` (11,
/// EAGAIN, for a thread that could not be started), and any other has code 0 in the domain
/// "std.exception". The exception's text is in the description.
AnyError errorOfException(const std::exception& exception) noexcept;

/// Whether an exception says that the system could not do its part: no memory, no thread, no
/// descriptor, or an AnyError. Any other is a mistake in the program.
bool isFailureOfSystem(const std::exception& exception) noexcept;

/// A failure type that can hold any error, so that an operation can always end with one.
template <class Failure>
concept HoldsAnyError = std::constructible_from<Failure, AnyError>;

}  // namespace corvane
