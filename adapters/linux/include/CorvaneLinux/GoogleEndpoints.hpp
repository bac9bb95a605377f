#pragma once

#include <string>

namespace corvane {

/// Where Google is: the real one by default, an emulator for tests and demos.
///
/// A stored session is for the `drive` and `token` that it was made with, and is refused with
/// others (SessionServerMismatchError). A sign-in replaces it, whichever Google it was for: a host
/// that works with several gives each a keychain service name of its own.
struct GoogleEndpoints {
  std::string drive = "https://www.googleapis.com/drive/v3/";  // ends in a slash
  std::string authorization = "https://accounts.google.com/o/oauth2/v2/auth";
  std::string token = "https://oauth2.googleapis.com/token";
  /// The id_token's issuer, which stays Google's wherever the endpoints are.
  std::string issuer = "https://accounts.google.com";

  /// The endpoints of a local Google at a base URL, with or without a slash at its end.
  static GoogleEndpoints at(std::string baseURL) {
    while (!baseURL.empty() && baseURL.back() == '/') baseURL.pop_back();
    GoogleEndpoints endpoints;
    endpoints.drive = baseURL + "/drive/v3/";
    endpoints.authorization = baseURL + "/o/oauth2/v2/auth";
    endpoints.token = baseURL + "/token";
    return endpoints;
  }
};

}  // namespace corvane
