#include "CertificateBundle.hpp"

#include "URLErrors.hpp"

#include <curl/curl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <optional>
#include <sstream>
#include <system_error>

namespace corvane {
namespace {

std::string systemBundle() {
  const auto* info = curl_version_info(CURLVERSION_NOW);
  return info->cainfo ? info->cainfo : "/etc/ssl/certs/ca-certificates.crt";
}

std::optional<std::string> contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();  // in large pieces: the system's bundle has some 200 KB
  if (file.bad()) return std::nullopt;
  return std::move(text).str();
}

bool writeAll(int file, std::string_view text) {
  while (!text.empty()) {
    const auto count = ::write(file, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

CertificateBundle::~CertificateBundle() {
  if (file_ >= 0) ::close(file_);
}

Result<CertificateBundle, NSError> CertificateBundle::open(const std::string& extraFile) {
  using Opened = Result<CertificateBundle, NSError>;
  CertificateBundle bundle;
  bundle.path_ = systemBundle();
  if (extraFile.empty()) return Opened::success(std::move(bundle));

  const auto refuse = [&](std::string_view why) {
    // Not a handshake's failure, which would be tried again.
    return Opened::failure(urlError::make(urlError::serverCertificateUntrusted,
                                          "The certificate authorities in " + extraFile + " cannot be used",
                                          why, "Name a readable PEM file, or none."));
  };
  const auto extra = contents(extraFile);
  if (!extra) return refuse("the file cannot be read");
  if (extra->find("-----BEGIN CERTIFICATE-----") == std::string::npos)
    return refuse("it holds no PEM certificate");

  bundle.file_ = ::memfd_create("corvane-authorities", MFD_CLOEXEC);
  const auto system = contents(bundle.path_).value_or("");
  if (bundle.file_ < 0 || !writeAll(bundle.file_, system) || !writeAll(bundle.file_, "\n") ||
      !writeAll(bundle.file_, *extra))
    return refuse(std::system_category().message(errno));
  bundle.path_ = "/proc/self/fd/" + std::to_string(bundle.file_);
  return Opened::success(std::move(bundle));
}

}  // namespace corvane
