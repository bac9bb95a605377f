#include "curl/Authorities.hpp"

#include "Certificates.hpp"
#include "HTTPFixture.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <new>
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

  static bool trusts(const Authorities& authorities, const Identity& server,
                     std::initializer_list<const Identity*> alsoSent = {}) {
    const std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)> check(X509_STORE_CTX_new(),
                                                                                &X509_STORE_CTX_free);
    const std::unique_ptr<STACK_OF(X509), void (*)(STACK_OF(X509)*)> sent(
        sk_X509_new_null(), [](STACK_OF(X509) * stack) { sk_X509_free(stack); });
    sk_X509_push(sent.get(), server.certificate.get());
    for (const auto* identity : alsoSent) sk_X509_push(sent.get(), identity->certificate.get());
    if (!X509_STORE_CTX_init(check.get(), authorities.store(), server.certificate.get(), sent.get()))
      throw std::bad_alloc();
    X509_STORE_CTX_set_default(check.get(), "ssl_server");
    return X509_verify_cert(check.get()) == 1;
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
  const auto authorities = open(file.path());
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(hosts, leafName())));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, OfTheHostMayHaveTheNameOfOneOfTheSystems) {
  const auto hosts = makeAuthority("Root");
  const TemporaryFile file(hosts.pem());
  putIntoBundle(root);
  const auto authorities = open(file.path());
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(hosts, leafName())));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(root, leafName())));
}

TEST_F(AuthoritiesTest, ThatNobodyKnowsAreNotTrusted) {
  putIntoFolder(makeAuthority("Other"));
  putIntoBundle(makeAuthority("Yet another"));
  const auto authorities = open();
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
  const auto authorities = open();
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(root, leafName())));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(intermediate, leafName()), {&intermediate}));
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(intermediate, leafName()), {&intermediate, &root}));
  const auto late = makeAuthority("Late");
  putIntoBundle(late);
  EXPECT_TRUE(trusts(authorities, makeServerIdentity(late, leafName()), {&late}));
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
  const auto authorities = open();
  EXPECT_TRUE(authorities.isFresh(before + 24h - 1s));
  EXPECT_FALSE(authorities.isFresh(Authorities::Clock::now() + 24h));
}

TEST_F(AuthoritiesTest, OfASystemThatHasNoneAreRefusedByName) {
  system.folder = (place.path() / "none").string();
  const auto refused = Authorities::open({}, system);
  ASSERT_FALSE(refused.isSuccess());
  EXPECT_EQ(refused.error().code(), -1202);
  EXPECT_THAT(refused.error().localizedDescription(), HasSubstr("no certificate authorities"));
  EXPECT_THAT(refused.error().localizedDescription(), HasSubstr("ca-certificates"));
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

// What most users have.
TEST(SystemsAuthorities, OfThisMachineAreThere) {
  EXPECT_TRUE(Authorities::open({}).isSuccess());
}

}  // namespace
}  // namespace corvane::test
