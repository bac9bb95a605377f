#include "curl/Authorities.hpp"

#include "Certificates.hpp"
#include "HTTPFixture.hpp"
#include "ScriptedServer.hpp"
#include "curl/CurlLibrary.hpp"
#include "curl/CurlTransfer.hpp"
#include "curl/RequestQueue.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

/// A system that keeps its authorities where the test puts them.
struct AuthoritiesTest : testing::Test {
  TemporaryFolder place;
  SystemAuthorities system{(place.path() / "folder").string(), (place.path() / "bundle.pem").string()};
  Identity root = makeAuthority("Root");

  AuthoritiesTest() { std::filesystem::create_directory(system.folder); }

  static std::string leafName() { return "localhost"; }

  void putIntoFolder(const Identity& authority) {
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "%08lx.0", X509_subject_name_hash(authority.certificate.get()));
    write(std::filesystem::path(system.folder) / name.data(), authority.pem());
  }
  void putIntoBundle(const Identity& authority) { write(system.bundle, authority.pem()); }
  static void write(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::app) << text;
  }

  Authorities open(const std::string& extraFile = {}) {
    return std::move(Authorities::open(extraFile, system)).value();
  }

  /// Whether a handshake with that server succeeds.
  static bool trusts(Authorities&& authorities, const Identity& server,
                     std::initializer_list<const Identity*> alsoSent = {}) {
    return trusts(authorities, server, alsoSent);
  }
  static bool trusts(Authorities& authorities, const Identity& server,
                     std::initializer_list<const Identity*> alsoSent = {}) {
    const Context clients(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    SSL_CTX_set_verify(clients.get(), SSL_VERIFY_PEER, nullptr);
    EXPECT_EQ(Authorities::install(nullptr, clients.get(), &authorities), CURLE_OK);
    const Context servers(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free);
    EXPECT_EQ(SSL_CTX_use_certificate(servers.get(), server.certificate.get()), 1);
    EXPECT_EQ(SSL_CTX_use_PrivateKey(servers.get(), server.key.get()), 1);
    for (const auto* identity : alsoSent)
      EXPECT_EQ(SSL_CTX_add1_chain_cert(servers.get(), identity->certificate.get()), 1);
    return shakeHands(clients.get(), servers.get());
  }

 private:
  using Context = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;

  static bool shakeHands(SSL_CTX* clients, SSL_CTX* servers) {
    const std::unique_ptr<SSL, decltype(&SSL_free)> client(SSL_new(clients), &SSL_free);
    const std::unique_ptr<SSL, decltype(&SSL_free)> server(SSL_new(servers), &SSL_free);
    BIO* clientsEnd = nullptr;
    BIO* serversEnd = nullptr;
    EXPECT_EQ(BIO_new_bio_pair(&clientsEnd, 0, &serversEnd, 0), 1);
    SSL_set_bio(client.get(), clientsEnd, clientsEnd);
    SSL_set_bio(server.get(), serversEnd, serversEnd);
    for (int step = 0; step < 10; ++step) {
      const int done = SSL_connect(client.get());
      if (done == 1) return SSL_get_verify_result(client.get()) == X509_V_OK;
      if (SSL_get_error(client.get(), done) != SSL_ERROR_WANT_READ) {
        EXPECT_NE(SSL_get_verify_result(client.get()), X509_V_OK);
        ERR_clear_error();
        return false;
      }
      SSL_accept(server.get());
    }
    ADD_FAILURE() << "the handshake does not end";
    return false;
  }
};

TEST_F(AuthoritiesTest, OfTheFolderAreFoundByTheirNames) {
  putIntoFolder(root);
  EXPECT_TRUE(trusts(open(), makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, OfTheBundleAloneAreTrustedToo) {
  const auto other = makeAuthority("Other");
  putIntoFolder(other);
  putIntoBundle(root);
  EXPECT_TRUE(trusts(open(), makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, OfASystemWithoutAFolderAreTrusted) {
  system.folder.clear();
  putIntoBundle(root);
  EXPECT_TRUE(trusts(open(), makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, OfTheHostAreTrustedBesideTheSystems) {
  const auto hosts = makeAuthority("The host's");
  const TemporaryFile file(hosts.pem() + makeAuthority("Another").pem());
  putIntoFolder(root);
  auto authorities = open(file.path());
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(hosts, leafName())));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, OfTheHostMayHaveTheNameOfOneOfTheSystems) {
  const auto hosts = makeAuthority("Root");
  const TemporaryFile file(hosts.pem());
  putIntoBundle(root);
  auto authorities = open(file.path());
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(hosts, leafName())));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, ThatNobodyKnowsAreNotTrusted) {
  putIntoFolder(makeAuthority("Other"));
  putIntoBundle(makeAuthority("Yet another"));
  auto authorities = open();
  EXPECT_FALSE(trusts(authorities, makeServerIdentity(root, leafName())));
  EXPECT_FALSE(trusts(authorities, makeServerIdentity(root, leafName()), {&root}));
  EXPECT_FALSE(trusts(authorities, makeSelfSigned(leafName())));
}

TEST_F(AuthoritiesTest, ThatHaveATrustedOnesNameAreNotTrusted) {
  putIntoFolder(root);
  putIntoBundle(root);
  const auto impostor = makeAuthority("Root");
  EXPECT_FALSE(trusts(open(), makeServerIdentity(impostor, leafName()), {&impostor}));
}

TEST_F(AuthoritiesTest, OfTheBundleAreReadOnlyWhenTheFolderKnowsNoIssuer) {
  putIntoFolder(root);
  const auto intermediate = makeIntermediate(root, "Intermediate");
  auto authorities = open();
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(root, leafName())));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(intermediate, leafName()), {&intermediate}));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(intermediate, leafName()), {&intermediate, &root}));
  const auto late = makeAuthority("Late");
  putIntoBundle(late);
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(late, leafName()), {&late}));
}

TEST_F(AuthoritiesTest, OfTheBundleAreFoundThoughTheServerSendsThemSignedByOneThatIsUnknownToday) {
  putIntoBundle(root);
  const auto intermediate = makeIntermediate(root, "Intermediate");
  const auto crossSigned = makeReissued(root, makeAuthority("Retired"));
  EXPECT_TRUE(trusts(open(), makeServerIdentity(intermediate, leafName()), {&intermediate, &crossSigned}));
}

TEST_F(AuthoritiesTest, OfTheBundleAreFoundThoughTheFolderHasAnExpiredCertificateOfTheSame) {
  putIntoFolder(makeReissued(root, root, Validity::past));
  putIntoBundle(root);
  EXPECT_TRUE(trusts(open(), makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, OfTheBundleAreFoundThoughTheHostHasAnExpiredCertificateOfTheSame) {
  const TemporaryFile file(makeReissued(root, root, Validity::past).pem());
  putIntoBundle(root);
  EXPECT_TRUE(trusts(open(file.path()), makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, ThatHaveExpiredAreNotTrusted) {
  const auto expired = makeReissued(root, root, Validity::past);
  putIntoFolder(expired);
  putIntoBundle(expired);
  EXPECT_FALSE(trusts(open(), makeServerIdentity(root, leafName()), {&root}));
}

TEST_F(AuthoritiesTest, OfABundleThatCouldNotBeReadAreFoundOnceItCan) {
  putIntoFolder(makeAuthority("Other"));
  auto authorities = open();
  const auto server = makeServerIdentity(root, leafName());
  EXPECT_FALSE(trusts(authorities, server));
  putIntoBundle(root);
  EXPECT_TRUE(trusts(authorities, server));
}

TEST_F(AuthoritiesTest, OfTheBundleDoNotMakeAnExpiredServerTrusted) {
  putIntoBundle(root);
  EXPECT_FALSE(trusts(open(), makeServerIdentity(root, leafName(), Validity::past)));
}

/// A request on a new connection.
CURLcode request(CURLM* multi, const Authorities& authorities, const std::string& url) {
  Origins origins;
  const auto exchange = std::make_shared<Exchange>(
      makeRequest("GET", url), 1000, std::make_shared<ClientState>(), std::make_shared<RequestQueue>());
  exchange->setTarget(RequestTarget::vet(exchange->request(), origins).value());
  CurlTransfer transfer(TransferSettings{}, exchange, std::make_shared<CurlShare>(), &authorities);
  curl_multi_add_handle(multi, transfer.handle());
  int running = 0;
  while (curl_multi_perform(multi, &running) == CURLM_OK && running > 0)
    curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
  int left = 0;
  const CURLMsg* message = curl_multi_info_read(multi, &left);
  const auto code = message ? message->data.result : CURLE_GOT_NOTHING;
  curl_multi_remove_handle(multi, transfer.handle());
  return code;
}

TEST_F(AuthoritiesTest, ThatAreOpenedLaterReplaceTheFormer) {
  ASSERT_TRUE(prepareCurlLibrary());
  putIntoFolder(makeAuthority("Other"));
  const ScriptedServer server({makeServerIdentity(root, leafName())}, alwaysAnswer(httpAnswer("ok")));
  const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi(curl_multi_init(), &curl_multi_cleanup);
  auto authorities = open(TemporaryFile(root.pem()).path());
  EXPECT_EQ(request(multi.get(), authorities, server.url(leafName(), "/")), CURLE_OK);
  authorities = open();
  EXPECT_EQ(request(multi.get(), authorities, server.url(leafName(), "/")), CURLE_PEER_FAILED_VERIFICATION);
  authorities = open(TemporaryFile(root.pem()).path());
  EXPECT_EQ(request(multi.get(), authorities, server.url(leafName(), "/")), CURLE_OK);
}

TEST_F(AuthoritiesTest, OutliveWhatTheyWereOpenedAs) {
  putIntoBundle(root);
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_client_method()),
                                                                  &SSL_CTX_free);
  {
    auto authorities = open();
    EXPECT_EQ(Authorities::install(nullptr, context.get(), &authorities), CURLE_OK);
  }
  EXPECT_NE(SSL_CTX_get_cert_store(context.get()), nullptr);
}

TEST_F(AuthoritiesTest, AreReadAnewAfterADay) {
  putIntoBundle(root);
  const auto before = Authorities::Clock::now();
  auto authorities = open();
  EXPECT_TRUE(authorities.isFresh(before + 24h - 1s));
  EXPECT_FALSE(authorities.isFresh(Authorities::Clock::now() + 24h));
}

TEST_F(AuthoritiesTest, OfASystemThatHasNoneAreRefusedByName) {
  for (const auto& folder : {system.folder, (place.path() / "none").string()}) {  // an empty one, and none
    system.folder = folder;
    const auto refused = Authorities::open({}, system);
    ASSERT_FALSE(refused.isSuccess()) << folder;
    EXPECT_EQ(refused.error().code(), -1202);
    EXPECT_THAT(refused.error().localizedDescription(), HasSubstr("no certificate authorities"));
    EXPECT_THAT(refused.error().localizedDescription(), HasSubstr("ca-certificates"));
  }
}

TEST_F(AuthoritiesTest, AreRefusedWhereLibcurlsTLSLibraryIsAnother) {
  putIntoBundle(root);
  for (const auto* other : {"GnuTLS/3.7.9", "(OpenSSL/3.0.19) wolfSSL/5.5", "none"}) {
    system.reader = other;
    const auto refused = Authorities::open({}, system);
    ASSERT_FALSE(refused.isSuccess());
    EXPECT_EQ(refused.error().code(), -1202);
    EXPECT_THAT(refused.error().localizedDescription(), HasSubstr(other));
  }
  system.reader = "(GnuTLS/3.7.9) OpenSSL/3.0.19";
  EXPECT_TRUE(Authorities::open({}, system).isSuccess());
}

TEST_F(AuthoritiesTest, OfTheHostAreEnoughWithoutASystems) {
  system.folder.clear();
  const TemporaryFile file(root.pem());
  EXPECT_TRUE(trusts(open(file.path()), makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, InADamagedFileOfTheHostsAreRefusedByName) {
  auto pem = root.pem();
  pem[pem.size() / 2] = '*';
  const TemporaryFile file(pem);
  const auto refused = Authorities::open(file.path(), system);
  ASSERT_FALSE(refused.isSuccess());
  EXPECT_EQ(refused.error().code(), -1202);
  EXPECT_THAT(refused.error().localizedDescription(), HasSubstr(file.path()));
  EXPECT_THAT(refused.error().localizedDescription(), HasSubstr("no certificate"));
}

/// A certificate in a PEM file that asks for a password.
std::string encryptedPEM(const Identity& identity, const std::string& password) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), &BIO_free);
  const auto* key = reinterpret_cast<const unsigned char*>(password.c_str());
  EXPECT_EQ(PEM_ASN1_write_bio(reinterpret_cast<i2d_of_void*>(&i2d_X509), PEM_STRING_X509, memory.get(),
                               identity.certificate.get(), EVP_aes_128_cbc(), key,
                               static_cast<int>(password.size()), nullptr, nullptr),
            1);
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<std::size_t>(size)};
}

TEST_F(AuthoritiesTest, OfTheHostNeverHaveAPasswordAskedFor) {
  const TemporaryFile open(encryptedPEM(root, ""));
  EXPECT_TRUE(Authorities::open(open.path(), system).isSuccess());
  const TemporaryFile locked(encryptedPEM(root, "password"));
  EXPECT_FALSE(Authorities::open(locked.path(), system).isSuccess());
}

// What most users have.
TEST(SystemsAuthorities, OfThisMachineAreThere) {
  EXPECT_TRUE(Authorities::open({}).isSuccess());
}

}  // namespace
}  // namespace corvane::test
