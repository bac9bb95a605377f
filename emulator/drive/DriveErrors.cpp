#include "drive/DriveErrors.hpp"

#include <nlohmann/json.hpp>

namespace corvane::emulator {
namespace {

/// The name of the canonical code (google.rpc.Code) for an HTTP status.
std::string_view statusName(int code) {
  switch (code) {
    case 400:
      return "INVALID_ARGUMENT";
    case 401:
      return "UNAUTHENTICATED";
    case 403:
      return "PERMISSION_DENIED";
    case 404:
      return "NOT_FOUND";
    case 409:
      return "ALREADY_EXISTS";
    case 429:
      return "RESOURCE_EXHAUSTED";
    case 500:
      return "INTERNAL";
    case 503:
      return "UNAVAILABLE";
    case 504:
      return "DEADLINE_EXCEEDED";
    default:
      return "UNKNOWN";
  }
}

bool isUsageLimit(std::string_view reason) {
  return reason.ends_with("LimitExceeded") || reason == "quotaExceeded" || reason == "accessNotConfigured";
}

}  // namespace

Response DriveError::response(bool pretty) const {
  nlohmann::ordered_json entry = {{"message", message}, {"domain", domain}, {"reason", reason}};
  if (!location.empty()) {
    entry["location"] = location;
    entry["locationType"] = locationType;
  }
  nlohmann::ordered_json error = {{"code", code}, {"message", message}};
  error["errors"] = nlohmann::ordered_json::array({entry});
  error["status"] = statusName(code);
  if (!detail.empty()) {
    error["details"] = nlohmann::ordered_json::array({{{"@type", "type.googleapis.com/google.rpc.ErrorInfo"},
                                                       {"reason", detail},
                                                       {"domain", "googleapis.com"},
                                                       {"metadata", {{"service", "drive.googleapis.com"}}}}});
  }
  auto answer = Response::json(code, nlohmann::ordered_json{{"error", error}}.dump(pretty ? 2 : -1));
  if (code == 401) {
    const bool given = reason == "authError";
    answer.headers.emplace_back("WWW-Authenticate",
                                std::string(R"(Bearer realm="https://accounts.google.com/")") +
                                    (given ? R"(, error="invalid_token")" : ""));
  } else if (!detail.empty()) {
    answer.headers.emplace_back("WWW-Authenticate",
                                R"(Bearer realm="https://accounts.google.com/", error="insufficient_scope")");
  }
  return answer;
}

DriveError DriveError::invalidParameter(std::string_view name, std::string message) {
  return {.code = 400,
          .reason = "invalidParameter",
          .message = std::move(message),
          .locationType = "parameter",
          .location = std::string(name)};
}

DriveError DriveError::badRequest(std::string message) {
  return {.code = 400, .reason = "badRequest", .message = std::move(message)};
}

DriveError DriveError::loginRequired() {
  return {.code = 401,
          .reason = "required",
          .message = "Login Required.",
          .locationType = "header",
          .location = "Authorization"};
}

DriveError DriveError::invalidCredentials() {
  return {.code = 401,
          .reason = "authError",
          .message = "Invalid Credentials",
          .locationType = "header",
          .location = "Authorization"};
}

DriveError DriveError::insufficientScope() {
  return {.code = 403,
          .reason = "insufficientPermissions",
          .message = "Request had insufficient authentication scopes.",
          .detail = "ACCESS_TOKEN_SCOPE_INSUFFICIENT"};
}

DriveError DriveError::notFound(std::string_view id) {
  return {.code = 404,
          .reason = "notFound",
          .message = "File not found: " + std::string(id) + ".",
          .locationType = "parameter",
          .location = "fileId"};
}

DriveError DriveError::insufficientFilePermissions() {
  return {.code = 403,
          .reason = "insufficientFilePermissions",
          .message = "The user does not have sufficient permissions for this file."};
}

DriveError DriveError::forReason(int code, std::string reason, std::string message) {
  if (reason == "authError" && message.empty()) return invalidCredentials();
  DriveError error{.code = code, .reason = std::move(reason), .message = std::move(message)};
  if (error.reason.empty()) error.reason = code >= 500 ? "backendError" : "badRequest";
  if (error.message.empty()) error.message = "Simulated error: " + error.reason;
  if (isUsageLimit(error.reason)) error.domain = "usageLimits";
  if (error.reason == "authError" || error.reason == "required") {
    error.locationType = code == 401 ? "header" : "";
    error.location = code == 401 ? "Authorization" : "";
  }
  return error;
}

}  // namespace corvane::emulator
