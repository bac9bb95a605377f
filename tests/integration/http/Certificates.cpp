#include "Certificates.hpp"

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <stdexcept>

namespace corvane::test {
namespace {

constexpr long day = 24 * 60 * 60;

void require(bool good) {
  if (!good) throw std::runtime_error("OpenSSL could not make a certificate");
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  require(extension && X509_add_ext(certificate, extension, -1) == 1);
  X509_EXTENSION_free(extension);
}

void setValidity(X509* certificate, Validity validity) {
  X509_gmtime_adj(X509_getm_notBefore(certificate), -10 * day);
  X509_gmtime_adj(X509_getm_notAfter(certificate), validity == Validity::now ? day : -day);
}

Identity unsignedIdentity(const std::string& name, Validity validity) {
  Identity identity{std::unique_ptr<X509, CertificateDeleter>(X509_new()),
                    std::unique_ptr<EVP_PKEY, KeyDeleter>(EVP_EC_gen("P-256"))};
  X509* certificate = identity.certificate.get();
  require(certificate && identity.key);
  std::uint64_t serial = 0;
  require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
  X509_set_version(certificate, X509_VERSION_3);
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1);
  setValidity(certificate, validity);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  X509_set_pubkey(certificate, identity.key.get());
  return identity;
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  addExtension(certificate, certificate, kind, value);
}

void sign(Identity& identity, const Identity& issuer) {
  X509* certificate = identity.certificate.get();
  if (certificate != issuer.certificate.get())
    addExtension(certificate, issuer.certificate.get(), NID_authority_key_identifier, "keyid");
  X509_set_issuer_name(certificate, X509_get_subject_name(issuer.certificate.get()));
  require(X509_sign(certificate, issuer.key.get(), EVP_sha256()) > 0);
}

Identity unsignedAuthority(const std::string& name) {
  Identity authority = unsignedIdentity(name, Validity::now);
  X509* certificate = authority.certificate.get();
  addExtension(certificate, NID_basic_constraints, "critical,CA:TRUE");
  addExtension(certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(certificate, NID_subject_key_identifier, "hash");
  return authority;
}

std::string alternativeName(const std::string& host) {
  return (host.find_first_not_of("0123456789.") == std::string::npos ? "IP:" : "DNS:") + host;
}

}  // namespace

std::string Identity::pem() const {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), &BIO_free);
  require(PEM_write_bio_X509(memory.get(), certificate.get()) == 1);
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(size)};
}

Identity makeAuthority(const std::string& name) {
  Identity authority = unsignedAuthority(name);
  sign(authority, authority);
  return authority;
}

Identity makeIntermediate(const Identity& authority, const std::string& name) {
  Identity intermediate = unsignedAuthority(name);
  sign(intermediate, authority);
  return intermediate;
}

Identity makeReissued(const Identity& authority, const Identity& issuer, Validity validity) {
  Identity reissued{std::unique_ptr<X509, CertificateDeleter>(X509_dup(authority.certificate.get())),
                    std::unique_ptr<EVP_PKEY, KeyDeleter>(EVP_PKEY_dup(authority.key.get()))};
  require(reissued.certificate && reissued.key);
  setValidity(reissued.certificate.get(), validity);
  sign(reissued, issuer);
  return reissued;
}

Identity makeServerIdentity(const Identity& authority, const std::string& host, Validity validity) {
  Identity identity = unsignedIdentity(host, validity);
  addExtension(identity.certificate.get(), NID_subject_alt_name, alternativeName(host));
  sign(identity, authority);
  return identity;
}

Identity makeSelfSigned(const std::string& host) {
  Identity identity = unsignedIdentity(host, Validity::now);
  addExtension(identity.certificate.get(), NID_subject_alt_name, alternativeName(host));
  sign(identity, identity);
  return identity;
}

}  // namespace corvane::test
