#pragma once

#include <string>

namespace corvane::emulator {

/// A certificate authority for one run and a server certificate of it for 127.0.0.1, ::1 and localhost.
/// The authority's key is gone once this is made; the server's key stays in memory.
struct Certificates {
  std::string authority;  ///< PEM
  std::string server;     ///< PEM
  std::string serverKey;  ///< PEM; never written to a file

  static Certificates make();
};

}  // namespace corvane::emulator
