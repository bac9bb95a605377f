#include "FreedMemory.hpp"
#include "PlantedRandomness.hpp"
#include "SmallGoogle.hpp"
#include "support/KeyringSession.hpp"
#include "support/TemporaryFolder.hpp"

#include <Corvane/Corvane.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace corvane::test {
namespace {

using testing::IsEmpty;
using testing::Not;

class Browser final : public Presenter {
 public:
  explicit Browser(SmallGoogle& google) : google_(google) {}
  std::shared_ptr<Cancellable> present(const std::string&, const WindowHandle&,
                                       UniqueFunction<void()>) override {
    return nullptr;
  }
  std::shared_ptr<Cancellable> presentLink(const SignInLink& link, const WindowHandle&,
                                           UniqueFunction<void()>) override {
    google_.browse(link.page);
    return nullptr;
  }

 private:
  SmallGoogle& google_;
};

Data clientDocument() {
  Data document = dataFromText(R"({"client_id":"small-client","clientSecret":")");
  for (const char c : std::string_view(FixedSecrets::clientSecret))
    document.push_back(static_cast<std::byte>(c));
  for (const char c : std::string_view("\"}")) document.push_back(static_cast<std::byte>(c));
  return document;
}

class Wiping : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    // The sign-in page's address is shown anyway, with state and nonce in it.
    FreedMemory::overlookBlocksWith("/o/oauth2/v2/auth?");
    plantRandomness();
    FreedMemory::plant("the client secret", FixedSecrets::clientSecret);
    FreedMemory::plant("the code", FixedSecrets::code);
    FreedMemory::plant("the access token", FixedSecrets::accessToken);
    FreedMemory::plant("the refreshed access token", FixedSecrets::nextAccessToken);
    FreedMemory::plant("the refresh token", FixedSecrets::refreshToken);
    FreedMemory::plant("the id_token", FixedSecrets::idTokenSignature);
  }
  void SetUp() override { (void)FreedMemory::findings(); }
  void TearDown() override { expectNothingFound("the test's end"); }

  static void expectNothingFound(const char* when) {
    for (const auto& finding : FreedMemory::findings()) ADD_FAILURE() << "After " << when << ": " << finding;
  }

  CorvaneFactory makeFactory(bool withCredentials) {
    LinuxPlatformOptions options;
    options.google = GoogleEndpoints::at(google_.baseURL());
    options.keychainBackend = backend_;
    if (backend_ == KeychainBackend::encryptedFile) options.keychainFolder = folder_.path() / "keychain";
    options.presenter = std::make_shared<Browser>(google_);
    return CorvaneFactory(
        withCredentials ? std::optional(clientDocument()) : std::nullopt, "wiping", "",
        [] { return WindowHandle::terminal(); }, makeLinuxPlatform(std::move(options)));
  }

  void signInWorkAndSignOut();

  KeychainBackend backend_ = KeychainBackend::encryptedFile;
  SmallGoogle google_;
  TemporaryFolder folder_;
};

TEST_F(Wiping, AreFoundWhenSomeoneForgetsToWipe) {
  {
    const std::string careless(FixedSecrets::refreshToken);
    const std::string cutOff = careless.substr(0, 31);
  }
  EXPECT_EQ(FreedMemory::findings().size(), 2u);
  std::string growing;
  for (const char c : std::string_view(FixedSecrets::accessToken)) growing += c;
  EXPECT_THAT(FreedMemory::findings(), Not(IsEmpty()));
  wipeMemory(growing.data(), growing.size());
}

void Wiping::signInWorkAndSignOut() {
  {
    auto factory = makeFactory(true);
    expectNothingFound("making the factory");
    const auto account = get(factory.makeAuthorizationProvider(nullptr)->signIn());
    ASSERT_EQ(account.userEmail(), "ada@example.com");
    expectNothingFound("signing in and saving the session");
    const auto drive = factory.makeAPI(account);
    ASSERT_EQ(get(drive->getFilesPage(std::nullopt)).files().size(), 1u);
    expectNothingFound("refreshing and a request");
  }
  expectNothingFound("dropping everything");
  {
    auto factory = makeFactory(false);
    const auto account = get(factory.makeAccountProvider()->getAccounts()).front();
    expectNothingFound("reading the stored session");
    {
      const auto drive = factory.makeAPI(account);
      ASSERT_EQ(get(drive->getFilesPage(std::nullopt)).files().size(), 1u);
      get(drive->deleteFile("1"));
    }
    expectNothingFound("requests with the stored session");
    get(factory.makeAuthorizationProvider(nullptr)->signOut(account));
  }
}

TEST_F(Wiping, LeavesNoSecretInFreedMemoryThroughoutASessionsLife) {
  const int before = plantedRandomSecrets();
  signInWorkAndSignOut();
  EXPECT_EQ(plantedRandomSecrets(), before + 4) << "verifier, state, nonce and the keychain's key";
}

TEST_F(Wiping, LeavesNoSecretInFreedMemoryThroughoutASessionsLifeInGnomeKeyring) {
  const KeyringSession keyring;
  backend_ = KeychainBackend::secretService;
  const int before = plantedRandomSecrets();
  signInWorkAndSignOut();
  EXPECT_EQ(plantedRandomSecrets(), before + 3) << "verifier, state and nonce";
}

}  // namespace
}  // namespace corvane::test
