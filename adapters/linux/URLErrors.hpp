#pragma once

#include <Corvane/NSError.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

/// The codes of NSURLErrorDomain that the transport and its users give, under the platform's names.
namespace corvane::urlError {

inline constexpr std::int64_t unknown = -1;
inline constexpr std::int64_t cancelled = -999;
inline constexpr std::int64_t badURL = -1000;
inline constexpr std::int64_t timedOut = -1001;
inline constexpr std::int64_t unsupportedURL = -1002;
inline constexpr std::int64_t cannotFindHost = -1003;
inline constexpr std::int64_t cannotConnectToHost = -1004;
inline constexpr std::int64_t networkConnectionLost = -1005;
inline constexpr std::int64_t notConnectedToInternet = -1009;
inline constexpr std::int64_t badServerResponse = -1011;
inline constexpr std::int64_t cannotParseResponse = -1017;
inline constexpr std::int64_t dataLengthExceedsMaximum = -1103;
inline constexpr std::int64_t secureConnectionFailed = -1200;
inline constexpr std::int64_t serverCertificateUntrusted = -1202;

/// An error of that code that says what happened, why (may be empty), and what to do (may be empty). The
/// texts must hold no query, token, body or password.
inline NSError make(std::int64_t code, std::string_view what, std::string_view why = {},
                    std::string_view remedy = {}) {
  std::string description(what);
  if (!why.empty()) description.append(": ").append(why);
  description += '.';
  if (!remedy.empty()) description.append(" ").append(remedy);

  UserInfo info;
  info.emplace(NSLocalizedDescriptionKey, std::move(description));
  if (!why.empty()) info.emplace(NSLocalizedFailureReasonErrorKey, why);
  if (!remedy.empty()) info.emplace(NSLocalizedRecoverySuggestionErrorKey, remedy);
  return NSError(NSURLErrorDomain, code, std::move(info));
}

}  // namespace corvane::urlError
