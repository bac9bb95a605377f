#include "FlowFixture.hpp"
#include "support/FakeKeychain.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <utility>
#include <vector>

namespace corvane::test {
namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class LinuxPlatformTest : public FlowTest {
 protected:
  static std::ptrdiff_t threads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  }

  static CorvaneFactory factoryOn(Platform platform) {
    return CorvaneFactory(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "flows", "", [] { return WindowHandle::terminal(); }, std::move(platform));
  }

  LinuxPlatformOptions local() {
    LinuxPlatformOptions options;
    options.google = GoogleEndpoints::at(google.baseURL());
    options.keychainBackend = KeychainBackend::encryptedFile;
    options.keychainFolder = folder.path() / "keychain";
    options.presenter = browser;
    options.loginHint = "ada@example.com";
    options.log = log;
    return options;
  }
};

TEST_F(LinuxPlatformTest, TouchesNeitherFileNorThreadUntilItIsUsed) {
  const auto before = threads();
  const Platform platform = makeLinuxPlatform(local());
  const auto service = platform.makeDriveService();
  EXPECT_EQ(threads(), before);
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "keychain"));
}

TEST_F(LinuxPlatformTest, OfTheSystemIsOneWhileAnythingOfItLives) {
  auto first = systemPlatform();
  const std::shared_ptr<Queue> kept = first.taskPool;
  first = {};
  const auto second = systemPlatform();
  EXPECT_EQ(second.taskPool, kept);
}

TEST_F(LinuxPlatformTest, EndpointThatIsNotSafeIsRefusedByTheNameOfItsOption) {
  struct Wrong {
    std::string GoogleEndpoints::*member;
    const char* name;
  };
  for (const auto& [member, name] : {Wrong{&GoogleEndpoints::drive, "google.drive"},
                                     Wrong{&GoogleEndpoints::authorization, "google.authorization"},
                                     Wrong{&GoogleEndpoints::token, "google.token"}}) {
    for (const auto* url : {"http://192.0.2.1/?s3cret", "file:///s3cret", "s3cret"}) {
      auto options = local();
      options.google.*member = url;
      const auto error = failureOf([&] { makeLinuxPlatform(options); });
      ASSERT_TRUE(error) << name << " " << url;
      EXPECT_THAT(error->what(), HasSubstr(name));
      EXPECT_THAT(error->what(), Not(HasSubstr("s3cret")));
    }
  }
}

TEST_F(LinuxPlatformTest, LimitThatLimitsNothingIsRefusedByTheNameOfItsOption) {
  auto options = local();
  options.limits.connect = {};
  auto error = failureOf([&] { makeLinuxPlatform(options); });
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), HasSubstr("limits.connect"));
  options = local();
  options.limits.stall = std::chrono::seconds(-1);
  error = failureOf([&] { makeLinuxPlatform(options); });
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), HasSubstr("limits.stall"));
  options = local();
  options.limits.idleConnection = {};
  error = failureOf([&] { makeLinuxPlatform(options); });
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), HasSubstr("limits.idleConnection"));
}

TEST_F(LinuxPlatformTest, FolderForAKeychainThatIsNoFileIsRefused) {
  auto options = local();
  options.keychainBackend = KeychainBackend::secretService;
  const auto error = failureOf([&] { makeLinuxPlatform(options); });
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), HasSubstr("keychainFolder"));
}

TEST_F(LinuxPlatformTest, OnlyAccountWithoutANameAndANegativeTimeAreRefused) {
  auto options = local();
  options.onlyThisAccount = true;
  EXPECT_FALSE(failureOf([&] { makeLinuxPlatform(options); }));
  options.loginHint.clear();
  const auto nameless = failureOf([&] { makeLinuxPlatform(options); });
  ASSERT_TRUE(nameless);
  EXPECT_THAT(nameless->what(), HasSubstr("onlyThisAccount"));
  options = local();
  options.signInTimeout = std::chrono::milliseconds{-1};
  const auto negative = failureOf([&] { makeLinuxPlatform(options); });
  ASSERT_TRUE(negative);
  EXPECT_THAT(negative->what(), HasSubstr("signInTimeout"));
}

TEST_F(LinuxPlatformTest, KeychainThatIsChosenIsToldInTheLog) {
  makeLinuxPlatform(local());
  EXPECT_THAT(log->messages(), Contains("extended: Sessions are kept in the encrypted file."));
  auto options = local();
  options.keychainFolder.clear();
  options.keychainBackend = KeychainBackend::secretService;
  makeLinuxPlatform(options);
  EXPECT_THAT(log->messages(), Contains(HasSubstr("Sessions are kept in the desktop's keyring")));
}

TEST_F(LinuxPlatformTest, DefaultsAreGoogleAndPatienceForABadNetwork) {
  using namespace std::chrono_literals;
  const LinuxPlatformOptions options;
  EXPECT_EQ(options.google.drive, "https://www.googleapis.com/drive/v3/");
  EXPECT_EQ(options.google.authorization, "https://accounts.google.com/o/oauth2/v2/auth");
  EXPECT_EQ(options.google.token, "https://oauth2.googleapis.com/token");
  EXPECT_EQ(options.google.issuer, "https://accounts.google.com");
  EXPECT_EQ(options.keychainBackend, KeychainBackend::secretService);
  EXPECT_EQ(options.limits.connect, 30s);
  EXPECT_EQ(options.limits.stall, 60s);
  EXPECT_EQ(options.limits.stallBytesPerSecond, 64);
  EXPECT_EQ(options.limits.idleConnection, 60s);
  EXPECT_EQ(options.limits.body, std::size_t{16} << 20);
  EXPECT_EQ(options.limits.headers, std::size_t{300} << 10);
}

TEST_F(LinuxPlatformTest, LimitsOfTheOptionsHoldForItsRequests) {
  auto options = local();
  options.limits.body = 16 << 10;
  auto factory = factoryOn(makeLinuxPlatform(options));
  const auto drive = factory.makeAPI(signIn(factory));
  get(drive->getAbout());
  const auto error = failureOf([&] { get(drive->getFilesPage(std::nullopt)); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), -1103);
}

TEST_F(LinuxPlatformTest, RefreshedTokenIsNotWrittenToTheKeychain) {
  const auto keychain = std::make_shared<FakeKeychain>();
  auto options = local();
  options.keychain = keychain;
  auto factory = factoryOn(makeLinuxPlatform(options));
  const auto drive = factory.makeAPI(signIn(factory));
  get(drive->getAbout());
  keychain->forgetCalls();
  google.expireTokens();
  google.journal().clear();
  get(drive->getAbout());
  EXPECT_EQ(google.journal().count("token"), 1u);
  EXPECT_TRUE(keychain->calls().empty());
}

TEST_F(LinuxPlatformTest, SessionThatCannotBeReadIsSaidAndStaysInTheKeychain) {
  for (const auto* rubbish : {"rubbish", R"({"version":2})", ""}) {
    const auto keychain = std::make_shared<FakeKeychain>();
    auto options = local();
    options.keychain = keychain;
    auto factory = factoryOn(makeLinuxPlatform(options));
    const auto ada = signIn(factory);
    auto item = keychain->items().at(0);
    ASSERT_EQ(keychain->SecItemDelete({{std::string(kSecClass), kSecClassGenericPassword}}), errSecSuccess);
    item.insert_or_assign(std::string(kSecValueData), dataFromText(rubbish));
    keychain->insert(item);

    const auto error = failureOf([&] { get(factory.makeAPI(ada)->getAbout()); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "Corvane.SessionArchive");
    EXPECT_EQ(keychain->items(), std::vector{item});
  }
}

class SessionOfAnotherGoogle : public LinuxPlatformTest {
 protected:
  SessionOfAnotherGoogle() {
    other.start();
    auto here = options(google);
    auto factory = factoryOn(makeLinuxPlatform(here));
    signIn(factory);
    other.journal().clear();
  }

  LinuxPlatformOptions options(const emulator::Emulator& where) {
    auto chosen = local();
    chosen.google = GoogleEndpoints::at(where.baseURL());
    chosen.keychain = keychain;
    chosen.keychainFolder.clear();
    chosen.keychainBackend = KeychainBackend::secretService;
    return chosen;
  }

  /// Every operation fails with the typed error, and the servers that are configured now hear
  /// nothing.
  void expectRefused(const LinuxPlatformOptions& chosen, const std::string& configured) {
    const auto stored = keychain->items();
    auto factory = factoryOn(makeLinuxPlatform(chosen));
    const auto drive = factory.makeAPI(GoogleDriveAccountModel("ada@example.com"));
    const std::vector<std::optional<AnyError>> errors{
        failureOf([&] { get(drive->getAbout()); }),
        failureOf([&] { get(drive->getFilesPage(std::nullopt)); }),
        failureOf([&] { get(drive->deleteFile("1AbC")); }),
        failureOf([&] { get(drive->moveToTrash("1AbC")); }),
    };
    for (const auto& error : errors) {
      ASSERT_TRUE(error);
      const auto mismatch = error->as<SessionServerMismatchError>();
      ASSERT_TRUE(mismatch) << error->what();
      EXPECT_EQ("http://" + mismatch->sessionServer(), google.baseURL());
      EXPECT_EQ(mismatch->configuredServer(), configured);
      EXPECT_EQ(errorKind(*error), ErrorKind::notSignedIn);
    }
    EXPECT_EQ(other.journal().entries().size(), 0u);
    EXPECT_EQ(keychain->items(), stored);
  }

  std::string otherHost() const { return other.baseURL().substr(std::string("http://").size()); }

  emulator::Emulator other{FlowTest::options()};
  std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
};

TEST_F(SessionOfAnotherGoogle, IsRefusedBeforeAnythingIsSent) {
  expectRefused(options(other), otherHost());
}

TEST_F(SessionOfAnotherGoogle, IsRefusedAlsoWhereOnlyDriveIsElsewhere) {
  auto chosen = options(google);
  chosen.google.drive = options(other).google.drive;
  expectRefused(chosen, otherHost());
}

TEST_F(SessionOfAnotherGoogle, IsRefusedAlsoWhereOnlyTheTokenEndpointIsElsewhere) {
  auto chosen = options(google);
  chosen.google.token = options(other).google.token;
  expectRefused(chosen, otherHost());
}

TEST_F(SessionOfAnotherGoogle, WorksAgainOnceItsOwnGoogleIsConfigured) {
  expectRefused(options(other), otherHost());
  auto factory = factoryOn(makeLinuxPlatform(options(google)));
  EXPECT_FALSE(failureOf(
      [&] { get(factory.makeAPI(GoogleDriveAccountModel("ada@example.com"))->getAbout()); }));
}

TEST_F(SessionOfAnotherGoogle, IsReplacedByASignInAndRemovedByASignOut) {
  auto factory = factoryOn(makeLinuxPlatform(options(other)));
  const auto ada = signIn(factory);
  EXPECT_EQ(keychain->items().size(), 1u);
  EXPECT_FALSE(failureOf([&] { get(factory.makeAPI(ada)->getAbout()); }));
  auto former = factoryOn(makeLinuxPlatform(options(google)));
  const auto error = failureOf([&] { get(former.makeAPI(ada)->getAbout()); });
  ASSERT_TRUE(error);
  EXPECT_TRUE(error->as<SessionServerMismatchError>());
  get(former.makeAuthorizationProvider(nullptr)->signOut(ada));
  EXPECT_TRUE(keychain->items().empty());
}

TEST_F(LinuxPlatformTest, RequestsNameItAndItsVersion) {
  auto factory = makeFactory();
  get(factory.makeAPI(signIn(factory))->getAbout());
  const auto about = google.journal().entries("about").front();
  EXPECT_THAT(std::string(about.header("User-Agent")),
              ::testing::MatchesRegex("Corvane/[0-9]+\\.[0-9]+\\.[0-9]+ \\(gzip\\)"));
}

TEST_F(LinuxPlatformTest, LifetimeIsDroppedAfterKeychainAndLog) {
  auto keychain = std::make_shared<FakeKeychain>();
  auto recorded = std::make_shared<FakeLog>();
  bool dropped = false;
  bool wasLast = false;
  auto options = local();
  options.lifetime = {
      nullptr, [&, kept = std::weak_ptr(keychain), written = std::weak_ptr(recorded)](void*) {
        dropped = true;
        wasLast = kept.expired() && written.expired();
      }};
  options.keychain = std::move(keychain);
  options.log = std::move(recorded);
  Platform platform = makeLinuxPlatform(std::move(options));
  std::shared_ptr<Queue> lastPiece = platform.taskPool;
  platform = {};
  EXPECT_FALSE(dropped);
  lastPiece.reset();
  EXPECT_TRUE(dropped);
  EXPECT_TRUE(wasLast);
}

}  // namespace
}  // namespace corvane::test
