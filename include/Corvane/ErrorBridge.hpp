#pragma once

#include <Corvane/NSError.hpp>

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

/// How a typed error becomes an NSError: one rule for all.
///
/// A type may say its own domain, code and user info (`errorDomain`, `errorCode`, `errorUserInfo`). What it
/// leaves out takes the default: its qualified name as the domain, the number of its case as the code, no
/// user info. A type with an `errorDescription` (or `failureReason`, `recoverySuggestion`) has it under the
/// matching key.
///
/// The qualified name comes from a free function `errorTypeName(const Error&)` found by argument-dependent
/// look-up.
namespace corvane {

template <class Error>
concept HasErrorTypeName = requires(const Error& error) {
  { errorTypeName(error) } -> std::convertible_to<std::string_view>;
};

template <class Error>
concept HasErrorDomain = requires {
  { Error::errorDomain() } -> std::convertible_to<std::string_view>;
};

/// What an AnyError can hold.
template <class Error>
concept BridgedError = std::is_same_v<Error, NSError> || HasErrorTypeName<Error> || HasErrorDomain<Error>;

namespace detail {

inline void setIfPresent(UserInfo& userInfo, std::string_view key, std::optional<std::string> text) {
  if (text) userInfo.insert_or_assign(std::string(key), UserInfoValue(*std::move(text)));
}

template <class Error>
std::string bridgedDomain(const Error& error) {
  if constexpr (HasErrorDomain<Error>) {
    return std::string(std::string_view(Error::errorDomain()));
  } else {
    return std::string(std::string_view(errorTypeName(error)));
  }
}

template <class Error>
std::int64_t bridgedCode(const Error& error) {
  if constexpr (requires { error.errorCode(); }) {
    return error.errorCode();
  } else if constexpr (std::is_enum_v<Error>) {
    return static_cast<std::int64_t>(error);
  } else {
    return static_cast<std::int64_t>(error.caseNumber());
  }
}

template <class Error>
UserInfo bridgedUserInfo(const Error& error) {
  UserInfo userInfo;
  if constexpr (requires { error.errorUserInfo(); }) {
    userInfo = error.errorUserInfo();
  } else {
    if constexpr (requires { error.errorDescription(); })
      setIfPresent(userInfo, NSLocalizedDescriptionKey, error.errorDescription());
    if constexpr (requires { error.failureReason(); })
      setIfPresent(userInfo, NSLocalizedFailureReasonErrorKey, error.failureReason());
    if constexpr (requires { error.recoverySuggestion(); })
      setIfPresent(userInfo, NSLocalizedRecoverySuggestionErrorKey, error.recoverySuggestion());
  }
  return userInfo;
}

}  // namespace detail

/// The NSError view of a typed error.
template <class Error>
NSError bridgeError(const Error& error) {
  return NSError(detail::bridgedDomain(error), detail::bridgedCode(error), detail::bridgedUserInfo(error));
}

}  // namespace corvane
