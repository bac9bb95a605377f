#pragma once

#include "SystemAuthorities.hpp"

#include <Corvane/NSError.hpp>

#include <curl/curl.h>

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// Tells libcurl what to check servers with.
///
/// The problem: a system has some 140 authorities, and parsing them all takes 20 ms of CPU. The
/// idea: where the system keeps them in a folder too, libcurl gets that alone, and OpenSSL reads
/// the one file that it needs. Elsewhere libcurl reads the bundle as usual. The host's file is
/// always read whole.
class ServerCertificates {
 public:
  /// `extraFile` may be empty.
  ServerCertificates(SystemAuthorities system, std::string extraFile);

  /// Why no server can be checked, found before libcurl is asked to.
  std::optional<NSError> refusal() const;
  /// What it means that libcurl could not load the authorities (CURLE_SSL_CACERT_BADFILE).
  NSError loadingFailed() const;

  /// Sets the authorities, for servers and for proxies over TLS. Gives libcurl's answer. The handle
  /// refers to this object.
  CURLcode apply(CURL* handle) const;

 private:
  static CURLcode prepareContext(CURL*, void* context, void* self) noexcept;
  NSError refuseExtraFile(std::string_view why) const;

  const SystemAuthorities system_;
  const std::string extraFile_;
  const bool hasFolder_;
};

}  // namespace corvane
