#include "Authorities.hpp"

#include "URLErrors.hpp"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

namespace corvane {
namespace {

struct BIODeleter {
  void operator()(BIO* bio) const { BIO_free(bio); }
};
struct ContextDeleter {
  void operator()(X509_STORE_CTX* context) const { X509_STORE_CTX_free(context); }
};
struct InfosDeleter {
  void operator()(STACK_OF(X509_INFO) * infos) const { sk_X509_INFO_pop_free(infos, X509_INFO_free); }
};
using Infos = std::unique_ptr<STACK_OF(X509_INFO), InfosDeleter>;

// The bundle that has not been read yet, kept by the store.

void releaseBundle(void*, void* bundle, CRYPTO_EX_DATA*, int, long, void*) {
  delete static_cast<std::string*>(bundle);
}

int bundleIndex() {
  static const int index = X509_STORE_get_ex_new_index(0, nullptr, nullptr, nullptr, releaseBundle);
  return index;
}

/// Whether there was one still to be read, and it could be. One that could not, such as for want of descriptors, is
/// tried again for the next server that is not trusted.
bool readBundle(X509_STORE& store) noexcept {
  auto* const bundle = static_cast<std::string*>(X509_STORE_get_ex_data(&store, bundleIndex()));
  if (!bundle) return false;
  const bool isRead = X509_STORE_load_file(&store, bundle->c_str()) == 1;
  ERR_clear_error();
  if (!isRead) return false;
  X509_STORE_set_ex_data(&store, bundleIndex(), nullptr);
  delete bundle;
  return true;
}

/// A context serves for one check only, so this one takes a second, with the same wishes and the store as it is now.
bool verifyAgain(X509_STORE_CTX& context) noexcept {
  const std::unique_ptr<X509_STORE_CTX, ContextDeleter> again(X509_STORE_CTX_new());
  if (!again ||
      X509_STORE_CTX_init(again.get(), X509_STORE_CTX_get0_store(&context),
                          X509_STORE_CTX_get0_cert(&context), X509_STORE_CTX_get0_untrusted(&context)) != 1 ||
      X509_VERIFY_PARAM_set1(X509_STORE_CTX_get0_param(again.get()), X509_STORE_CTX_get0_param(&context)) !=
          1)
    return false;
  const bool trusted = X509_verify_cert(again.get()) == 1;
  X509_STORE_CTX_set_error(&context, X509_STORE_CTX_get_error(again.get()));
  X509_STORE_CTX_set_error_depth(&context, X509_STORE_CTX_get_error_depth(again.get()));
  X509_STORE_CTX_set0_verified_chain(&context, X509_STORE_CTX_get1_chain(again.get()));
  return trusted;
}

// Which issuers are missing shows only when a whole chain has failed: a server may send one that leads to an authority
// nobody knows any more, beside which the bundle has a newer one.
int verify(X509_STORE_CTX* context, void*) noexcept {
  if (X509_verify_cert(context) == 1) return 1;
  return readBundle(*X509_STORE_CTX_get0_store(context)) && verifyAgain(*context) ? 1 : 0;
}

std::optional<std::string> contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::ostringstream text;
  text << file.rdbuf();
  if (file.bad()) return std::nullopt;
  return std::move(text).str();
}

Infos parsed(const std::string& pem) {
  char noPassword[] = "";  // instead of a question in the terminal
  const std::unique_ptr<BIO, BIODeleter> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  if (!bio) throw std::bad_alloc();
  Infos infos(PEM_X509_INFO_read_bio(bio.get(), nullptr, nullptr, noPassword));
  ERR_clear_error();
  return infos;
}

/// How many certificates were among them.
int add(STACK_OF(X509_INFO) & infos, X509_STORE& store) {
  int count = 0;
  for (int i = 0; i < sk_X509_INFO_num(&infos); ++i) {
    X509* const certificate = sk_X509_INFO_value(&infos, i)->x509;
    if (!certificate) continue;
    if (X509_STORE_add_cert(&store, certificate) != 1) throw std::bad_alloc();
    ++count;
  }
  return count;
}

bool exists(const SystemAuthorities& system) {
  std::error_code ignored;
  const bool isInFolder = std::filesystem::is_directory(system.folder, ignored) &&
                          !std::filesystem::is_empty(system.folder, ignored);
  return isInFolder || std::ifstream(system.bundle).good();
}

// A libcurl with several libraries names those that are not in use in brackets.
bool isOpenSSL(std::string_view reader) {
  const auto found = reader.find("OpenSSL");
  return found == 0 || (found != reader.npos && reader[found - 1] != '(');
}

}  // namespace

SystemAuthorities SystemAuthorities::known() {
  const auto* info = curl_version_info(CURLVERSION_NOW);
  return {info->capath ? info->capath : "",
          info->cainfo ? info->cainfo : "/etc/ssl/certs/ca-certificates.crt",
          info->ssl_version ? info->ssl_version : "none"};
}

Authorities::Authorities(const SystemAuthorities& system) : store_(X509_STORE_new()) {
  if (!store_) throw std::bad_alloc();
  // As libcurl sets them for a store of its own: an intermediate authority may be trusted without its root.
  X509_STORE_set_flags(store_.get(), X509_V_FLAG_TRUSTED_FIRST | X509_V_FLAG_PARTIAL_CHAIN);
  auto bundle = std::make_unique<std::string>(system.bundle);
  if (X509_STORE_set_ex_data(store_.get(), bundleIndex(), bundle.get()) != 1) throw std::bad_alloc();
  bundle.release();
  if (system.folder.empty()) return;
  auto* const lookup = X509_STORE_add_lookup(store_.get(), X509_LOOKUP_hash_dir());
  if (!lookup || X509_LOOKUP_add_dir(lookup, system.folder.c_str(), X509_FILETYPE_PEM) != 1)
    throw std::bad_alloc();
}

Result<Authorities, NSError> Authorities::open(const std::string& extraFile,
                                               const SystemAuthorities& system) {
  using Opened = Result<Authorities, NSError>;
  // Not a handshake's failure, which would be tried again.
  const auto refuse = [](std::string_view what, std::string_view why, std::string_view remedy) {
    return Opened::failure(urlError::make(urlError::serverCertificateUntrusted, what, why, remedy));
  };
  if (!isOpenSSL(system.reader))
    return refuse("The certificates of servers cannot be checked",
                  "this libcurl's TLS library is " + system.reader, "Use a libcurl with OpenSSL.");
  Authorities authorities(system);
  if (extraFile.empty()) {
    if (!exists(system))
      return refuse("The certificates of servers cannot be checked",
                    "this machine has no certificate authorities", "Install the package ca-certificates.");
    return Opened::success(std::move(authorities));
  }
  const auto refuseFile = [&](std::string_view why) {
    return refuse("The certificate authorities in " + extraFile + " cannot be used", why,
                  "Name a readable PEM file, or none.");
  };
  const auto extra = contents(extraFile);
  if (!extra) return refuseFile("the file cannot be read");
  const auto infos = parsed(*extra);
  if (!infos) return refuseFile("it holds something that is no certificate");
  if (add(*infos, *authorities.store_) == 0) return refuseFile("it holds no PEM certificate");
  return Opened::success(std::move(authorities));
}

CURLcode Authorities::install(CURL*, void* context, void* authorities) noexcept {
  if (!authorities) return CURLE_OK;  // without them nobody is trusted
  auto* const tls = static_cast<SSL_CTX*>(context);
  SSL_CTX_set1_cert_store(tls, static_cast<const Authorities*>(authorities)->store());
  SSL_CTX_set_cert_verify_callback(tls, verify, nullptr);
  return CURLE_OK;
}

}  // namespace corvane
