#pragma once

#include <Corvane/Corvane.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>

#include <filesystem>
#include <memory>
#include <string>

namespace bench {

/// A host of the module on a bench-server: a keychain in a folder of its own, and accounts signed in without a person.
class Host {
 public:
  Host(const std::string& url, const std::string& authorities);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Signs the account in and gives an API for it, on a platform that logs nothing.
  std::shared_ptr<corvane::GoogleDriveAPIType> signedIn(const std::string& email);

 private:
  corvane::LinuxPlatformOptions options_;
  std::filesystem::path folder_;
};

}  // namespace bench
