#pragma once

#include <Corvane/UserInfo.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

// Keys of an error's user info.
inline constexpr std::string_view NSUnderlyingErrorKey = "NSUnderlyingError";
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr std::string_view NSLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
inline constexpr std::string_view NSLocalizedRecoverySuggestionErrorKey = "NSLocalizedRecoverySuggestion";

// Error domains of the platform.
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
inline constexpr std::int64_t NSURLErrorCancelled = -999;
inline constexpr std::string_view NSOSStatusErrorDomain = "NSOSStatusErrorDomain";

/// An error as a domain, an integer code and a user info: the form in which every error can be seen.
///
/// An immutable value, usable from any thread; copies share one storage and never throw. One that was made from a typed
/// error remembers it, so that turning it back into an `AnyError` loses nothing.
class NSError {
 public:
  NSError(std::string domain, std::int64_t code, UserInfo userInfo = {})
      : storage_(std::make_shared<const Storage>(Storage{std::move(domain), code, std::move(userInfo)})) {}
  NSError(std::string_view domain, std::int64_t code, UserInfo userInfo = {})
      : NSError(std::string(domain), code, std::move(userInfo)) {}
  NSError(const char* domain, std::int64_t code, UserInfo userInfo = {})
      : NSError(std::string(domain), code, std::move(userInfo)) {}

  // Nothing to move, which would leave an error without its storage.
  NSError(const NSError&) noexcept = default;
  NSError& operator=(const NSError&) noexcept = default;
  ~NSError() = default;

  /// The references are valid as long as any copy of this error lives.
  const std::string& domain() const noexcept { return storage_->domain; }
  std::int64_t code() const noexcept { return storage_->code; }
  const UserInfo& userInfo() const noexcept { return storage_->userInfo; }

  /// The description under its key, or else "The operation couldn’t be completed. (DOMAIN error CODE.)".
  std::string localizedDescription() const;
  std::optional<std::string> localizedFailureReason() const { return text(NSLocalizedFailureReasonErrorKey); }
  std::optional<std::string> localizedRecoverySuggestion() const {
    return text(NSLocalizedRecoverySuggestionErrorKey);
  }

  /// The error under `NSUnderlyingErrorKey`, or null; owned by this error.
  const AnyError* underlyingError() const;

 private:
  friend class AnyError;
  std::optional<std::string> text(std::string_view key) const;

  struct Storage {
    std::string domain;
    std::int64_t code;
    UserInfo userInfo;
  };
  std::shared_ptr<const Storage> storage_;
  std::shared_ptr<const AnyError> origin_;  // the typed error that this is a view of, if any
};

/// Where a selector form leaves its error; null when the caller wants none, and left empty when there is none
/// to tell.
using NSErrorPointer = std::optional<NSError>*;

}  // namespace corvane
