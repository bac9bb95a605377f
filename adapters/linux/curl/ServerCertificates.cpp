#include "ServerCertificates.hpp"

#include "URLErrors.hpp"

#include <dirent.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string_view>
#include <utility>

namespace corvane {
namespace {

struct DirectoryCloser {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

// Eight hexadecimal digits, a dot and a number (openssl-rehash(1)).
bool isHashedName(std::string_view name) {
  const auto isHex = [](unsigned char c) { return std::isxdigit(c) != 0; };
  return name.size() >= 10 && name[8] == '.' && std::isdigit(static_cast<unsigned char>(name[9])) &&
         std::all_of(name.begin(), name.begin() + 8, isHex);
}

// Not by std::filesystem, whose iterator ends the program when memory runs out.
bool holdsHashedNames(const std::string& folder) {
  const std::unique_ptr<DIR, DirectoryCloser> opened(::opendir(folder.c_str()));
  if (!opened) return false;
  while (const dirent* entry = ::readdir(opened.get()))
    if (isHashedName(entry->d_name)) return true;
  return false;
}

// A libcurl with several TLS libraries names those that are not in use in brackets.
bool isOpenSSL(std::string_view library) {
  const auto found = library.find("OpenSSL");
  return found == 0 || (found != library.npos && library[found - 1] != '(');
}

// Not a handshake's failure, which would be tried again.
NSError refuse(std::string_view what, std::string_view why, std::string_view remedy) {
  return urlError::make(urlError::serverCertificateUntrusted, what, why, remedy);
}

}  // namespace

SystemAuthorities SystemAuthorities::known() {
  const auto* info = curl_version_info(CURLVERSION_NOW);
  return {info->capath ? info->capath : "", info->cainfo ? info->cainfo : "",
          info->ssl_version ? info->ssl_version : "none"};
}

ServerCertificates::ServerCertificates(SystemAuthorities system, std::string extraFile)
    : system_(std::move(system)),
      extraFile_(std::move(extraFile)),
      hasFolder_(holdsHashedNames(system_.folder)) {}

std::optional<NSError> ServerCertificates::refusal() const {
  if (!isOpenSSL(system_.library))
    return refuse("The certificates of servers cannot be checked",
                  "this libcurl's TLS library is " + system_.library,
                  "Use a libcurl with OpenSSL.");
  if (extraFile_.empty()) return std::nullopt;
  // Opening a pipe could wait for ever.
  struct stat status {};
  if (::stat(extraFile_.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
    return refuseExtraFile("it is not a regular file");
  if (::access(extraFile_.c_str(), R_OK) != 0) return refuseExtraFile("the file cannot be read");
  return std::nullopt;
}

NSError ServerCertificates::loadingFailed() const {
  if (extraFile_.empty())
    return refuse("The certificates of servers cannot be checked",
                  "this machine has no certificate authorities",
                  "Install the package ca-certificates.");
  return refuseExtraFile("it holds no PEM certificate, or a damaged one");
}

NSError ServerCertificates::refuseExtraFile(std::string_view why) const {
  return refuse("The certificate authorities in " + extraFile_ + " cannot be used", why,
                "Name a readable PEM file, or none.");
}

// Without any authority of the system's, the host's alone must do.
CURLcode ServerCertificates::apply(CURL* handle) const {
  const bool usesBundle =
      !hasFolder_ && (extraFile_.empty() || ::access(system_.bundle.c_str(), F_OK) == 0);
  const char* const folder = hasFolder_ ? system_.folder.c_str() : nullptr;
  const char* const bundle =
      usesBundle && !system_.bundle.empty() ? system_.bundle.c_str() : nullptr;
  for (const auto& [option, value] : {std::pair(CURLOPT_CAPATH, folder),
                                      {CURLOPT_PROXY_CAPATH, folder},
                                      {CURLOPT_CAINFO, bundle},
                                      {CURLOPT_PROXY_CAINFO, bundle}})
    if (const auto code = curl_easy_setopt(handle, option, value); code != CURLE_OK) return code;
  if (const auto code = curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, &prepareContext))
    return code;
  return curl_easy_setopt(handle, CURLOPT_SSL_CTX_DATA, this);
}

// What libcurl has no option for: no log of the connection's secrets, which SSLKEYLOGFILE in the
// environment asks for, and a file of authorities beside the system's.
CURLcode ServerCertificates::prepareContext(CURL*, void* context, void* self) noexcept {
  const auto& extraFile = static_cast<const ServerCertificates*>(self)->extraFile_;
  auto* const tls = static_cast<SSL_CTX*>(context);
  SSL_CTX_set_keylog_callback(tls, nullptr);
  if (extraFile.empty() || SSL_CTX_load_verify_locations(tls, extraFile.c_str(), nullptr) == 1)
    return CURLE_OK;
  ERR_clear_error();
  return CURLE_SSL_CACERT_BADFILE;
}

}  // namespace corvane
