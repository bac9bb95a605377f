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
    : factory_(
          std::nullopt, "corvane", "", [] { return std::optional<corvane::WindowHandle>(); },
          platformAt(url, authorities, limits)) {}

std::shared_ptr<corvane::GoogleDriveAPIType> SignedIn::makeAPI(const std::string& email) {
  return factory_.makeAPI(corvane::GoogleDriveAccountModel(email));
}

}  // namespace bench
