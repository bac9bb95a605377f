#include <Corvane/ExceptionErrors.hpp>

#include <new>
#include <string>
#include <system_error>
#include <utility>

namespace corvane {

namespace {

AnyError described(std::string_view domain, std::int64_t code, const char* reason) {
  UserInfo userInfo;
  userInfo.emplace(NSLocalizedDescriptionKey,
                   "Google Drive operation failed: " + std::string(reason) + ".");
  return NSError(domain, code, std::move(userInfo));
}

bool isErrno(const std::error_category& category) {
  return category == std::generic_category() || category == std::system_category();
}

}  // namespace

AnyError outOfMemory() noexcept {
  // Outside the heap and never destroyed: there is no memory, and a worker may read it at exit.
  using Stored = AnyError::Typed<OutOfMemoryError>;
  alignas(Stored) static unsigned char place[sizeof(Stored)];
  static const auto* const stored = new (place) Stored(OutOfMemoryError{});
  return AnyError(std::shared_ptr<const AnyError::Storage>(std::shared_ptr<const void>(), stored));
}

AnyError errorOfException(const std::exception& exception) noexcept {
  if (const auto* error = dynamic_cast<const AnyError*>(&exception)) return *error;
  if (dynamic_cast<const std::bad_alloc*>(&exception)) return outOfMemory();
  try {
    const auto* system = dynamic_cast<const std::system_error*>(&exception);
    if (system && isErrno(system->code().category()))
      return described(NSPOSIXErrorDomain, system->code().value(), exception.what());
    return described("std.exception", 0, exception.what());
  } catch (const std::bad_alloc&) {
    return outOfMemory();
  }
}

bool isFailureOfSystem(const std::exception& exception) noexcept {
  return dynamic_cast<const AnyError*>(&exception) ||
         dynamic_cast<const std::bad_alloc*>(&exception) ||
         dynamic_cast<const std::system_error*>(&exception);
}

}  // namespace corvane
