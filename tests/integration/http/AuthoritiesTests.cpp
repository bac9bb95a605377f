// Which servers are trusted, on systems that keep their authorities in a folder and on those that have a
// bundle only.
#include "Certificates.hpp"
#include "HTTPFixture.hpp"
#include "ScriptedServer.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

namespace corvane::test {
namespace {

using ::testing::HasSubstr;

enum class Layout { folder, bundle };

/// A system that keeps its authorities where the test puts them.
struct Authorities : testing::Test {
  TemporaryFolder place;
  SystemAuthorities system{(place.path() / "folder").string(), (place.path() / "bundle.pem").string()};
  Identity root = makeAuthority("Root");

  Authorities() { std::filesystem::create_directory(system.folder); }

  void putIntoFolder(const Identity& authority) const {
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "%08lx.0",
                  X509_subject_name_hash(authority.certificate.get()));
    write(std::filesystem::path(system.folder) / name.data(), authority.pem());
  }
  void putIntoBundle(const Identity& authority) const { write(system.bundle, authority.pem()); }
  static void write(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::app) << text;
  }

  std::unique_ptr<HTTPFixture> host(const std::string& extraFile = {}) const {
    return std::make_unique<HTTPFixture>(HTTPLimits{}, extraFile, system);
  }
  static Answer ask(HTTPFixture& http, Identity server) {
    const ScriptedServer running({std::move(server)}, alwaysAnswer(httpAnswer("ok")));
    return http.get(running.url("localhost", "/"));
  }
  static bool trusts(HTTPFixture& http, Identity server) {
    const auto answer = ask(http, std::move(server));
    if (answer.isSuccess()) return true;
    EXPECT_THAT(answer, IsURLError(urlError::serverCertificateUntrusted));
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("is not trusted"));
    return false;
  }
};

/// On both kinds of systems.
struct AuthoritiesOf : Authorities, testing::WithParamInterface<Layout> {
  void putIntoSystem(const Identity& authority) const {
    GetParam() == Layout::folder ? putIntoFolder(authority) : putIntoBundle(authority);
  }
};

TEST_P(AuthoritiesOf, TheSystemAreTrusted) {
  putIntoSystem(root);
  EXPECT_TRUE(trusts(*host(), makeServerIdentity(root, "localhost")));
}

TEST_P(AuthoritiesOf, TheHostAreTrustedBesideTheSystems) {
  const auto hosts = makeAuthority("The host's");
  const TemporaryFile file(hosts.pem() + makeAuthority("Another").pem());
  putIntoSystem(root);
  const auto http = host(file.path());
  EXPECT_TRUE(trusts(*http, makeServerIdentity(hosts, "localhost")));
  EXPECT_TRUE(trusts(*http, makeServerIdentity(root, "localhost")));
}

TEST_P(AuthoritiesOf, NobodyAreNotTrusted) {
  putIntoSystem(makeAuthority("Other"));
  const TemporaryFile file(makeAuthority("The host's").pem());
  const auto http = host(file.path());
  EXPECT_FALSE(trusts(*http, makeServerIdentity(root, "localhost")));
  EXPECT_FALSE(trusts(*http, makeSelfSigned("localhost")));
}

TEST_P(AuthoritiesOf, AnImpostorWithATrustedNameAreNotTrusted) {
  putIntoSystem(root);
  EXPECT_FALSE(trusts(*host(), makeServerIdentity(makeAuthority("Root"), "localhost")));
}

TEST_P(AuthoritiesOf, ThePastAreNotTrusted) {
  putIntoSystem(makeReissued(root, root, Validity::past));
  EXPECT_FALSE(trusts(*host(), makeServerIdentity(root, "localhost")));
}

TEST_P(AuthoritiesOf, ADamagedFileOfTheHostAreRefusedByName) {
  putIntoSystem(root);
  auto damaged = makeAuthority("The host's").pem();
  damaged[damaged.size() / 2] = '*';
  for (const auto& text : {damaged, root.pem() + damaged, std::string("nothing"), std::string()}) {
    const TemporaryFile file(text);
    const auto answer = ask(*host(file.path()), makeServerIdentity(root, "localhost"));
    ASSERT_THAT(answer, IsURLError(urlError::serverCertificateUntrusted));
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr(file.path()));
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("no PEM certificate"));
  }
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

TEST_P(AuthoritiesOf, TheHostNeverHaveAPasswordAskedFor) {
  putIntoSystem(makeAuthority("Other"));
  const TemporaryFile open(encryptedPEM(root, ""));
  EXPECT_TRUE(trusts(*host(open.path()), makeServerIdentity(root, "localhost")));
  const TemporaryFile locked(encryptedPEM(root, "password"));
  const auto answer = ask(*host(locked.path()), makeServerIdentity(root, "localhost"));
  ASSERT_THAT(answer, IsURLError(urlError::serverCertificateUntrusted));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr(locked.path()));
}

TEST_P(AuthoritiesOf, AFileOfTheHostThatWasMendedAreTrusted) {
  putIntoSystem(makeAuthority("Other"));
  const auto path = (place.path() / "extra.pem").string();
  const auto http = host(path);
  EXPECT_THAT(ask(*http, makeServerIdentity(root, "localhost")),
              IsURLError(urlError::serverCertificateUntrusted));
  write(path, root.pem());
  EXPECT_TRUE(trusts(*http, makeServerIdentity(root, "localhost")));
}

INSTANTIATE_TEST_SUITE_P(, AuthoritiesOf, testing::Values(Layout::folder, Layout::bundle),
                         [](const auto& test) {
                           return test.param == Layout::folder ? "Folder" : "Bundle";
                         });

TEST_F(Authorities, OfABundleAreTrustedWhereTheFolderHasOnlyOtherNames) {
  write(std::filesystem::path(system.folder) / "Root.pem", root.pem());
  putIntoBundle(root);
  EXPECT_TRUE(trusts(*host(), makeServerIdentity(root, "localhost")));
  system.folder.clear();
  EXPECT_TRUE(trusts(*host(), makeServerIdentity(root, "localhost")));
}

TEST_F(Authorities, OfTheHostMayHaveTheNameOfOneInTheBundle) {
  const auto hosts = makeAuthority("Root");
  const TemporaryFile file(hosts.pem());
  putIntoBundle(root);
  const auto http = host(file.path());
  EXPECT_TRUE(trusts(*http, makeServerIdentity(hosts, "localhost")));
  EXPECT_TRUE(trusts(*http, makeServerIdentity(root, "localhost")));
}

TEST_F(Authorities, OfASystemWithoutAnyAreRefusedByName) {
  for (const auto& folder : {system.folder, (place.path() / "none").string()}) {
    system.folder = folder;
    const auto answer = ask(*host(), makeServerIdentity(root, "localhost"));
    ASSERT_THAT(answer, IsURLError(urlError::serverCertificateUntrusted)) << folder;
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("no certificate authorities"));
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("ca-certificates"));
  }
}

TEST_F(Authorities, OfTheHostAreEnoughWithoutTheSystems) {
  const TemporaryFile file(root.pem());
  EXPECT_TRUE(trusts(*host(file.path()), makeServerIdentity(root, "localhost")));
}

TEST_F(Authorities, InAPipeAreRefusedInsteadOfWaitedFor) {
  const auto pipe = (place.path() / "pipe").string();
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const auto answer = ask(*host(pipe), makeServerIdentity(root, "localhost"));
  ASSERT_THAT(answer, IsURLError(urlError::serverCertificateUntrusted));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr(pipe));
  EXPECT_THAT(answer.error().localizedDescription(), HasSubstr("not a regular file"));
}

TEST_F(Authorities, AreRefusedWhereLibcurlHasAnotherTLSLibrary) {
  putIntoBundle(root);
  for (const auto* other : {"GnuTLS/3.7.9", "(OpenSSL/3.0.19) wolfSSL/5.5", "none"}) {
    system.library = other;
    const auto answer = ask(*host(), makeServerIdentity(root, "localhost"));
    ASSERT_THAT(answer, IsURLError(urlError::serverCertificateUntrusted));
    EXPECT_THAT(answer.error().localizedDescription(), HasSubstr(other));
  }
  system.library = "(GnuTLS/3.7.9) OpenSSL/3.0.19";
  EXPECT_TRUE(trusts(*host(), makeServerIdentity(root, "localhost")));
}

// What most users have.
TEST_F(Authorities, OfThisMachineAreThere) {
  system = SystemAuthorities::known();
  EXPECT_FALSE(trusts(*host(), makeServerIdentity(root, "localhost")));
}

}  // namespace
}  // namespace corvane::test
