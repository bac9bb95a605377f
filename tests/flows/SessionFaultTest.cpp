#include "SignInFaultFixture.hpp"

#include <memory>

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;
using ::testing::IsEmpty;
using ::testing::Not;

class SessionFaultTest : public SignInFaultFixture {
 protected:
  /// A signed-in account whose access token has just run out.
  std::shared_ptr<GoogleDriveAPIType> driveWithAnExpiredToken() {
    EXPECT_TRUE(signInWith(*factory().makeAuthorizationProvider(nullptr)));
    auto drive = factory().makeAPI(ada);
    get(drive->getAbout());
    google.expireTokens();
    google.journal().clear();
    return drive;
  }

  CorvaneFactory& factory() {
    if (!factory_) {
      auto platform = makeLinuxPlatform(options());
      impatient = std::make_shared<ImpatientQueue>(platform.userInitiatedQueue);
      platform.userInitiatedQueue = impatient;
      factory_.reset(new CorvaneFactory(hostOn(std::move(platform))));
    }
    return *factory_;
  }

  const GoogleDriveAccountModel ada{"ada@example.com"};

 private:
  std::unique_ptr<CorvaneFactory> factory_;
};

TEST_F(SessionFaultTest, AHundredRequestsWithAnExpiredTokenMakeOneRefresh) {
  const auto drive = driveWithAnExpiredToken();
  std::vector<std::future<Result<About, AnyError>>> abouts;
  for (int i = 0; i < 100; ++i) abouts.push_back(toFuture(drive->getAbout()));
  for (auto& about : abouts) EXPECT_TRUE(about.get().isSuccess());
  EXPECT_EQ(google.journal().count("token"), 1u);
}

TEST_F(SessionFaultTest, ARefreshWhileSigningOutNeverBringsTheItemBack) {
  const auto drive = driveWithAnExpiredToken();
  const auto gate = std::make_shared<Gate>();
  google.faults().add("token", Fault::held(gate));
  auto about = toFuture(drive->getAbout());
  ASSERT_TRUE(gate->waitUntilReached());
  get(factory().makeAuthorizationProvider(nullptr)->signOut(ada));
  gate->open();
  EXPECT_TRUE(about.get().isSuccess()) << "the object that has the session keeps it";
  EXPECT_THAT(keychain->items(), IsEmpty());
  const auto error = failureOf([&] { get(factory().makeAccountProvider()->getAccounts()); });
  ASSERT_TRUE(error);
  EXPECT_EQ(errorKind(*error), ErrorKind::notSignedIn);
}

TEST_F(SessionFaultTest, ASignOutUnderAHeldRemovalWinsOverARefreshThatEndsMeanwhile) {
  const auto drive = driveWithAnExpiredToken();
  keychain->block();
  auto out = toFuture(factory().makeAuthorizationProvider(nullptr)->signOut(ada));
  keychain->waitUntilBlocked();
  get(drive->getAbout());
  EXPECT_EQ(google.journal().count("token"), 1u);
  keychain->release();
  EXPECT_TRUE(out.get().isSuccess());
  EXPECT_THAT(keychain->items(), IsEmpty());
}

/// A refresh that goes wrong, how often it is tried, and what the user is told.
struct BadRefresh {
  std::string name;
  Fault fault;
  std::size_t attempts;
  ErrorKind told;
};

class BadRefreshTest : public SessionFaultTest, public ::testing::WithParamInterface<BadRefresh> {};

TEST_P(BadRefreshTest, FailsTheRequestAndKeepsTheSessionForTheNextOne) {
  const auto drive = driveWithAnExpiredToken();
  const auto stored = keychain->items();
  google.faults().add("token", GetParam().fault, GetParam().attempts);
  const auto error = failureOf([&] { get(drive->getFilesPage(std::nullopt)); });
  google.faults().releaseHeld();
  ASSERT_TRUE(error);
  EXPECT_EQ(errorKind(*error), GetParam().told) << error->what();
  EXPECT_EQ(google.journal().count("token"), GetParam().attempts);
  EXPECT_EQ(keychain->items(), stored);
  EXPECT_FALSE(failureOf([&] { get(drive->getAbout()); }));
  const auto session = keychain->items().at(0).at(std::string(kSecValueData));
  const auto archive = nlohmann::json::parse(textView(*session.data()));
  const std::vector<std::string> tokens{archive.at("accessToken"), archive.at("refreshToken")};
  expectNoSecretInTheLog(tokens);
  expectNoSecretIn(error->what(), tokens);
}

INSTANTIATE_TEST_SUITE_P(
    Session, BadRefreshTest,
    ::testing::Values(
        BadRefresh{"Refused", Fault{.status = 400, .body = R"({"error":"invalid_grant"})"}, 1,
                   ErrorKind::notSignedIn},
        BadRefresh{"ForAnUnknownClient",
                   Fault{.status = 401, .body = R"({"error":"invalid_client"})"}, 1,
                   ErrorKind::notSignedIn},
        BadRefresh{"ForAnotherClient",
                   Fault{.status = 400, .body = R"({"error":"unauthorized_client"})"}, 1,
                   ErrorKind::notSignedIn},
        BadRefresh{"SayingThatItIsBusy",
                   Fault{.status = 400, .body = R"({"error":"temporarily_unavailable"})"}, 5,
                   ErrorKind::temporary},
        BadRefresh{"WhileTheServerIsBusy", Fault::html(503), 5, ErrorKind::temporary},
        BadRefresh{"WhileTheServerIsBroken", Fault::empty(500), 5, ErrorKind::temporary},
        BadRefresh{"RateLimited",
                   Fault{.status = 429, .body = R"({"error":"rate_limit_exceeded"})"}, 5,
                   ErrorKind::temporary},
        BadRefresh{"BehindACaptivePortal", Fault::content("<html>Welcome to the hotel</html>"), 1,
                   ErrorKind::invalidResponse},
        BadRefresh{"OverALineThatBreaks", Fault::closeWithoutAnswer(), 5, ErrorKind::temporary}),
    [](const auto& row) { return row.param.name; });

// Through a request that is not tried again, since each try waits as long as the limit says.
TEST_F(SessionFaultTest, ARefreshThatStallsEndsByTheLimitAndTheSessionStays) {
  const auto drive = driveWithAnExpiredToken();
  const auto stored = keychain->items();
  google.faults().add("token", Fault::slow(2, std::chrono::milliseconds{100}));
  const auto id = google.fileID("ada@example.com", 0);
  const auto error = failureOf([&] { get(drive->moveToTrash(id)); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), NSURLErrorDomain) << error->what();
  EXPECT_EQ(error->code(), -1001);
  EXPECT_EQ(google.journal().count("token"), 1u);
  EXPECT_EQ(keychain->items(), stored);
  EXPECT_FALSE(failureOf([&] { get(drive->moveToTrash(id)); }));
}

TEST_F(SessionFaultTest, WithTheNetworkDownTheRefreshFailsAndTheSessionStays) {
  const auto drive = driveWithAnExpiredToken();
  const auto stored = keychain->items();
  google.stop();
  const auto error = failureOf([&] { get(drive->getFilesPage(std::nullopt)); });
  ASSERT_TRUE(error);
  EXPECT_EQ(errorKind(*error), ErrorKind::temporary) << error->what();
  EXPECT_EQ(impatient->delays().size(), 4u);
  EXPECT_EQ(keychain->items(), stored);
}

}  // namespace
}  // namespace corvane::test
