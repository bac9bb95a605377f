#include "server/Certificates.hpp"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <array>
#include <memory>
#include <stdexcept>

namespace corvane::emulator {
namespace {

template <class T, void (*release)(T*)>
struct Release {
  void operator()(T* object) const { release(object); }
};
void freeAll(BIO* bio) {
  BIO_free_all(bio);
}

using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Release<X509, X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION, X509_EXTENSION_free>>;
using Memory = std::unique_ptr<BIO, Release<BIO, freeAll>>;

void check(bool done, const char* what) {
  if (!done) throw std::runtime_error(std::string("OpenSSL cannot ") + what);
}

Key makeKey() {
  Key key(EVP_EC_gen("P-256"));
  check(key != nullptr, "make a key");
  return key;
}

void addExtension(X509* certificate, X509* issuer, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
  check(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "add a certificate extension");
}

void setName(X509_NAME* name, const char* commonName) {
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(commonName), -1, -1, 0) == 1,
        "name a certificate");
}

void setSerial(X509* certificate) {
  std::array<unsigned char, 8> bytes{};
  check(RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1, "make a serial number");
  std::uint64_t serial = 0;
  for (const auto byte : bytes) serial = (serial << 8U) | byte;
  ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1U);
}

Certificate blank(EVP_PKEY* key, const char* commonName) {
  constexpr long day = 24 * 60 * 60;
  constexpr int version3 = 2;
  Certificate certificate(X509_new());
  check(certificate && X509_set_version(certificate.get(), version3) == 1, "make a certificate");
  setSerial(certificate.get());
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -day);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 30 * day);
  X509_set_pubkey(certificate.get(), key);
  setName(X509_get_subject_name(certificate.get()), commonName);
  return certificate;
}

std::string text(BIO* bio) {
  char* data = nullptr;
  const auto length = BIO_get_mem_data(bio, &data);
  return {data, static_cast<std::size_t>(length)};
}

std::string pem(X509* certificate) {
  const Memory bio(BIO_new(BIO_s_mem()));
  check(PEM_write_bio_X509(bio.get(), certificate) == 1, "write a certificate");
  return text(bio.get());
}

std::string pem(EVP_PKEY* key) {
  const Memory bio(BIO_new(BIO_s_mem()));
  check(PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1, "write a key");
  return text(bio.get());
}

Certificate makeAuthority(EVP_PKEY* key) {
  auto certificate = blank(key, "Corvane emulator, throwaway authority");
  auto* raw = certificate.get();
  X509_set_issuer_name(raw, X509_get_subject_name(raw));
  addExtension(raw, raw, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
  addExtension(raw, raw, NID_key_usage, "critical,keyCertSign,cRLSign");
  addExtension(raw, raw, NID_subject_key_identifier, "hash");
  check(X509_sign(raw, key, EVP_sha256()) > 0, "sign a certificate");
  return certificate;
}

Certificate makeServer(EVP_PKEY* key, X509* authority, EVP_PKEY* authorityKey) {
  auto certificate = blank(key, "Corvane emulator");
  auto* raw = certificate.get();
  X509_set_issuer_name(raw, X509_get_subject_name(authority));
  addExtension(raw, authority, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(raw, authority, NID_key_usage, "critical,digitalSignature");
  addExtension(raw, authority, NID_ext_key_usage, "serverAuth");
  addExtension(raw, authority, NID_subject_key_identifier, "hash");
  addExtension(raw, authority, NID_authority_key_identifier, "keyid");
  addExtension(raw, authority, NID_subject_alt_name, "IP:127.0.0.1,IP:::1,DNS:localhost");
  check(X509_sign(raw, authorityKey, EVP_sha256()) > 0, "sign a certificate");
  return certificate;
}

}  // namespace

Certificates Certificates::make() {
  const auto authorityKey = makeKey();
  const auto authority = makeAuthority(authorityKey.get());
  const auto key = makeKey();
  const auto server = makeServer(key.get(), authority.get(), authorityKey.get());
  return {.authority = pem(authority.get()), .server = pem(server.get()), .serverKey = pem(key.get())};
}

}  // namespace corvane::emulator
