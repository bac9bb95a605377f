#pragma once

#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>

#include <curl/curl.h>
#include <openssl/x509_vfy.h>

#include <chrono>
#include <memory>
#include <string>

namespace corvane {

/// Where a system keeps its certificate authorities, either of which may be missing, and what reads them.
struct SystemAuthorities {
  std::string folder;              // a file for each, named by its subject's hash (openssl-rehash(1))
  std::string bundle;              // all of them in one PEM file
  std::string reader = "OpenSSL";  // libcurl's TLS library and its version

  /// As the libcurl in use was built for.
  static SystemAuthorities known();
};

/// The certificate authorities that servers are checked against: the system's and the host's own.
///
/// The problem: a system has some 140 of them, and parsing them all takes 20 ms, for the one or two that a process
/// meets. The idea: OpenSSL asks for one at a time. The host's own are read at once; the system's are looked up
/// in its folder, and only a server that both do not make trusted has the system's bundle read, once, and is checked again.
///
/// Lifetime: the connections made with it share the store.
/// Threads: one, as the store changes while it is used.
class Authorities {
 public:
  using Clock = std::chrono::steady_clock;
  /// An authority that the system no longer trusts is forgotten after this long, as by libcurl (CURLOPT_CA_CACHE_TIMEOUT).
  static constexpr std::chrono::hours life{24};

  /// Reads the extra file, if one is named; the error names it when that fails. Throws std::bad_alloc.
  static Result<Authorities, NSError> open(const std::string& extraFile,
                                           const SystemAuthorities& system = SystemAuthorities::known());

  bool isFresh(Clock::time_point now) const noexcept { return now - opened_ < life; }
  X509_STORE* store() const noexcept { return store_.get(); }

  /// A CURLOPT_SSL_CTX_FUNCTION, with the Authorities as its data.
  static CURLcode install(CURL*, void* context, void* authorities) noexcept;

 private:
  struct StoreDeleter {
    void operator()(X509_STORE* store) const { X509_STORE_free(store); }
  };

  explicit Authorities(const SystemAuthorities& system);

  std::unique_ptr<X509_STORE, StoreDeleter> store_;
  Clock::time_point opened_ = Clock::now();
};

}  // namespace corvane
