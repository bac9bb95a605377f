#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace corvane::test {

struct CertificateDeleter {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
struct KeyDeleter {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

/// A certificate and its key, made on the spot.
struct Identity {
  std::unique_ptr<X509, CertificateDeleter> certificate;
  std::unique_ptr<EVP_PKEY, KeyDeleter> key;

  std::string pem() const;
};

enum class Validity { now, past };

Identity makeAuthority(const std::string& name);
/// An authority that another one vouches for.
Identity makeIntermediate(const Identity& authority, const std::string& name);
/// The same authority, name and key, in another certificate that `issuer` signs.
Identity makeReissued(const Identity& authority, const Identity& issuer, Validity validity = Validity::now);
/// For a DNS name, or "127.0.0.1".
Identity makeServerIdentity(const Identity& authority, const std::string& host,
                            Validity validity = Validity::now);
Identity makeSelfSigned(const std::string& host);

}  // namespace corvane::test
