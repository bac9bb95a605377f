#pragma once

#include <string>

namespace corvane {

/// Where a system keeps its certificate authorities, either of which may be empty, and what reads
/// them.
struct SystemAuthorities {
  std::string folder;  // a file for each, named by its subject's hash (openssl-rehash(1))
  std::string bundle;  // all of them in one PEM file
  std::string library = "OpenSSL";  // libcurl's TLS library and its version

  /// As the libcurl in use was built for.
  static SystemAuthorities known();
};

}  // namespace corvane
