#include "Documents.hpp"
#include "ManualClock.hpp"
#include "ScriptedHTTPClient.hpp"
#include "oauth/JSONSessionArchive.hpp"
#include "oauth/OAuthSession.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/ManualQueue.hpp"

#include <gmock/gmock.h>

namespace corvane::test {
namespace {

using std::chrono::hours;
using std::chrono::seconds;
using ::testing::HasSubstr;

struct ForeignSession final : AuthSession {
  std::optional<std::string> userEmail() const override { return "eve@example.com"; }
  AnyCancellable accessToken(std::optional<Secret>, TokenHandler) override { return {}; }
};

struct JSONSessionArchiveTest : ::testing::Test {
  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ManualQueue> pool = std::make_shared<ManualQueue>();
  ManualClock clock;
  JSONSessionArchive archive{http, pool, clock.clock()};

  OAuthGrant grant() {
    return {"client \"1\"",
            Secret("secret\xC3\xA9"),
            "https://oauth2.example/token",
            Secret("access"),
            clock.wall() + seconds{3600},
            Secret("refresh"),
            {"openid", driveScopeText},
            "ada@example.com",
            "1234"};
  }
  std::shared_ptr<OAuthSession> session() {
    return std::make_shared<OAuthSession>(grant(), http, pool, clock.clock());
  }
  JSONDocument document() { return JSONDocument::parse(textView(archive.encode(*session()))); }

  std::optional<AnyError> decodingError(std::string_view text) {
    return errorOf([&] { archive.decode(dataFromText(text)); });
  }
  void expectDamaged(std::string_view text, const char* what) {
    const auto error = decodingError(text);
    ASSERT_TRUE(error) << text;
    EXPECT_THAT(*error, IsError("Corvane.SessionArchive", 1, HasSubstr(what)));
    EXPECT_THAT(error->localizedDescription(), ::testing::Not(HasSubstr("refresh-token-value")));
  }
};

TEST_F(JSONSessionArchiveTest, ASessionComesBackAsItWas) {
  const auto decoded = std::dynamic_pointer_cast<OAuthSession>(archive.decode(archive.encode(*session())));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->userEmail(), "ada@example.com");
  const auto back = decoded->grant();
  const auto original = grant();
  EXPECT_EQ(back.clientID, original.clientID);
  EXPECT_EQ(back.clientSecret, original.clientSecret);
  EXPECT_EQ(back.tokenEndpoint, original.tokenEndpoint);
  EXPECT_EQ(back.accessToken, original.accessToken);
  EXPECT_EQ(back.accessTokenExpiry, original.accessTokenExpiry);
  EXPECT_EQ(back.refreshToken, original.refreshToken);
  EXPECT_EQ(back.scopes, original.scopes);
  EXPECT_EQ(back.subject, original.subject);
}

TEST_F(JSONSessionArchiveTest, ItIsOneVersionedObject) {
  EXPECT_EQ(document(), (JSONDocument{{"version", 1},
                                      {"clientID", "client \"1\""},
                                      {"clientSecret", "secret\xC3\xA9"},
                                      {"tokenEndpoint", "https://oauth2.example/token"},
                                      {"accessToken", "access"},
                                      {"accessTokenExpiry", 1'700'003'600},
                                      {"refreshToken", "refresh"},
                                      {"scopes", {"openid", driveScopeText}},
                                      {"email", "ada@example.com"},
                                      {"subject", "1234"}}));
}

TEST_F(JSONSessionArchiveTest, TheExpiryOfADecodedSessionIsJudgedByTheWallClock) {
  const auto stored = archive.encode(*session());
  clock.setWallBy(hours{2});  // as after a restart
  const auto decoded = archive.decode(stored);
  const auto waiting = decoded->accessToken({}, [](auto) {});
  EXPECT_EQ(http->sent(), 1u);
}

TEST_F(JSONSessionArchiveTest, ADecodedSessionRefreshesWithTheStoredClient) {
  const auto decoded = archive.decode(archive.encode(*session()));
  const auto waiting = decoded->accessToken(Secret("access"), [](auto) {});
  const auto exchange = http->next();
  EXPECT_EQ(exchange->request.url, "https://oauth2.example/token");
  EXPECT_EQ(
      exchange->form(),
      "grant_type=refresh_token&refresh_token=refresh&client_id=client%20%221%22&client_secret=secret%C3%A9");
}

TEST_F(JSONSessionArchiveTest, ASessionWithoutSecretOrAddressComesBack) {
  auto bare = document();
  bare.erase("clientSecret");
  bare.erase("email");
  bare.erase("subject");
  bare["unknown"] = {1, 2};
  EXPECT_EQ(archive.decode(dataFromText(bare.dump()))->userEmail(), std::nullopt);
}

TEST_F(JSONSessionArchiveTest, ANewerVersionIsNamedAsSuch) {
  auto newer = document();
  for (const JSONDocument& version :
       {JSONDocument(2), JSONDocument(std::numeric_limits<std::uint64_t>::max())}) {
    newer["version"] = version;
    const auto error = decodingError(newer.dump());
    ASSERT_TRUE(error);
    EXPECT_THAT(*error, IsError("Corvane.SessionArchive", 2,
                                HasSubstr("The stored session was written by a newer version")));
  }
}

TEST_F(JSONSessionArchiveTest, DamagedArchivesAreNamedAsSuchAndNotQuoted) {
  for (const auto* text :
       {"", "null", "[]", "refresh-token-value", "{\"refreshToken\":\"refresh-token-value", "\xff"})
    expectDamaged(text, "is damaged: it is not a JSON object");
  expectDamaged("{}", "its version is missing");
  for (const JSONDocument& version : {JSONDocument("1"), JSONDocument(1.5), JSONDocument(nullptr)}) {
    auto damaged = document();
    damaged["version"] = version;
    expectDamaged(damaged.dump(), "its version is missing");
  }
  for (const int version : {0, -1}) {
    auto damaged = document();
    damaged["version"] = version;
    expectDamaged(damaged.dump(), "its version is unknown");
  }
}

TEST_F(JSONSessionArchiveTest, EachMemberThatIsNeededHasToBeThereInItsKind) {
  for (const auto* name :
       {"clientID", "tokenEndpoint", "accessToken", "accessTokenExpiry", "refreshToken", "scopes"}) {
    auto damaged = document();
    damaged.erase(name);
    expectDamaged(damaged.dump(), name);
    for (const JSONDocument& value : {JSONDocument(nullptr), JSONDocument(true), JSONDocument(""),
                                      JSONDocument::object(), JSONDocument{{"a", 1}}, JSONDocument{1, 2}}) {
      damaged[name] = value;
      expectDamaged(damaged.dump(), name);
    }
  }
}

TEST_F(JSONSessionArchiveTest, AbsurdTimesAndEndpointsAreDamage) {
  for (const JSONDocument& time :
       {JSONDocument(std::numeric_limits<std::int64_t>::min()),
        JSONDocument(std::numeric_limits<std::uint64_t>::max()), JSONDocument(1e18)}) {
    auto damaged = document();
    damaged["accessTokenExpiry"] = time;
    expectDamaged(damaged.dump(), "accessTokenExpiry is not a time");
  }
  auto damaged = document();
  damaged["tokenEndpoint"] = "refresh-token-value";
  expectDamaged(damaged.dump(), "tokenEndpoint is not a URL");
}

TEST_F(JSONSessionArchiveTest, ASessionOfAnotherMakeCannotBeStored) {
  const auto error = errorOf([&] { archive.encode(ForeignSession()); });
  ASSERT_TRUE(error);
  EXPECT_THAT(*error, IsError("Corvane.SessionArchive", 3, HasSubstr("Only sessions made by this platform")));
}

}  // namespace
}  // namespace corvane::test
