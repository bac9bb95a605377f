#pragma once

#include <Corvane/AnyError.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// A failed listing: which account, which page, and what went wrong, told on one line.
struct GoogleDriveAPIRequestError {
  std::string accountEmail;
  std::optional<std::string> pageToken;  // absent for the first page
  AnyError underlying;

  static std::string_view errorDomain() { return "GoogleDriveAPIRequestError"; }
  /// The code of `underlying`.
  std::int64_t errorCode() const { return underlying.code(); }
  /// That of `underlying`, with it and this description in their places.
  UserInfo errorUserInfo() const;
  std::optional<std::string> errorDescription() const;
};

}  // namespace corvane
