#pragma once

#include <string>
#include <string_view>

#include "Message.hpp"

namespace corvane::emulator {

/// One of Google's REST errors, before it is written as JSON.
struct DriveError {
  int code;
  std::string reason;
  std::string message;
  std::string domain = "global";
  std::string locationType = {};
  std::string location = {};
  std::string detail = {};  ///< reason of a google.rpc.ErrorInfo in `details`

  Response response(bool pretty = true) const;

  static DriveError invalidParameter(std::string_view name, std::string message);
  static DriveError badRequest(std::string message);
  static DriveError loginRequired();
  static DriveError invalidCredentials();
  static DriveError insufficientScope();
  static DriveError notFound(std::string_view id);
  static DriveError insufficientFilePermissions();
  /// Fills in domain and message as Google does for that reason.
  static DriveError forReason(int code, std::string reason, std::string message);
};

}  // namespace corvane::emulator
