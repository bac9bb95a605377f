#include "SignedIn.hpp"

#include <CorvaneLinux/LinuxPlatform.hpp>

namespace bench {
namespace {

corvane::Platform platformAt(const std::string& url, const std::string& authorities,
                             const corvane::HTTPLimits& limits) {
  corvane::LinuxPlatformOptions options;
  options.google = corvane::GoogleEndpoints::at(url);
  options.extraCAFile = authorities;
  options.limits = limits;
  options.keychainBackend = corvane::KeychainBackend::encryptedFile;
  return corvane::makeLinuxPlatform(std::move(options));
}

}  // namespace

SignedIn::SignedIn(const std::string& url, const std::string& authorities, const corvane::HTTPLimits& limits)
    // The program, which has signed in, keeps the sessions of each Google under a service of its own.
    : factory_(
          std::nullopt, "corvane " + url, "", [] { return std::optional<corvane::WindowHandle>(); },
          platformAt(url, authorities, limits)) {}

std::shared_ptr<corvane::GoogleDriveAPIType> SignedIn::makeAPI(const std::string& email) {
  return factory_.makeAPI(corvane::GoogleDriveAccountModel(email));
}

}  // namespace bench
