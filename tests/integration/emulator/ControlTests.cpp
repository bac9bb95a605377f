#include <gmock/gmock.h>

#include "EmulatorFixture.hpp"

namespace corvane::tests {
namespace {

using testing::HasSubstr;

const std::string about = "/drive/v3/about?fields=*";

class TheEmulatorsRemoteControl : public EmulatorTest {
 protected:
  HTTPAnswer post(const std::string& what, const std::string& body = "") {
    return connect().send("POST", "/__emulator__/" + what, {}, body);
  }
  json read(const std::string& what) { return json::parse(connect().get("/__emulator__/" + what).body); }
};

TEST_F(TheEmulatorsRemoteControl, AddsFaultsAndTellsWhichRemain) {
  const auto added = post("faults", R"([{"operation":"about","status":503,"reason":"backendError",
      "headers":{"Retry-After":"1"}},{"operation":"files.list","times":2,"resetAfter":9}])");
  EXPECT_EQ(added.status, 200);
  EXPECT_EQ(read("faults")["remaining"].size(), 3U);
  const auto answer = get(about);
  EXPECT_EQ(problem(answer), "503 backendError");
  EXPECT_EQ(answer.header("Retry-After"), "1");
  EXPECT_EQ(read("faults")["remaining"][0]["operation"], "files.list");
  connect().send("DELETE", "/__emulator__/faults", {});
  EXPECT_TRUE(read("faults")["remaining"].empty());
}

TEST_F(TheEmulatorsRemoteControl, RefusesFaultsItDoesNotUnderstandAndAddsNone) {
  for (const auto* body :
       {"", "{", "3", R"({"operation":"nothing"})", R"({"operation":"about","stauts":503})",
        R"({"operation":"about","status":"many"})", R"({"framing":"unknown"})",
        R"([{"operation":"about"},{"operation":"x"}])"}) {
    const auto answer = post("faults", body);
    EXPECT_EQ(answer.status, 400) << body;
    EXPECT_TRUE(json::parse(answer.body).contains("error"));
  }
  EXPECT_TRUE(server.faults().empty());
}

TEST_F(TheEmulatorsRemoteControl, TakesAFaultInAnObjectOfItsOwnToo) {
  EXPECT_EQ(
      post("faults", R"([{"operation":"about","fault":{"status":503,"reason":"backendError"}}])").status,
      200);
  EXPECT_EQ(problem(get(about)), "503 backendError");
  EXPECT_EQ(post("faults", R"([{"operation":"about","fault":503}])").status, 400);
}

TEST_F(TheEmulatorsRemoteControl, ReleasesWhatIsHeld) {
  post("faults", R"({"operation":"about","hold":true})");
  auto client = connect();
  client.write("GET", about, session);
  ASSERT_TRUE(server.journal().waitForCount(1));
  post("release");
  EXPECT_EQ(client.read().status, 200);
}

TEST_F(TheEmulatorsRemoteControl, ShowsAndForgetsTheJournal) {
  get(about);
  const auto journal = read("journal");
  EXPECT_EQ(journal["count"], 1);
  EXPECT_EQ(journal["requests"][0]["operation"], "about");
  EXPECT_EQ(journal["requests"][0]["number"], 1);
  EXPECT_THAT(journal["requests"][0]["headers"]["Authorization"].get<std::string>(), HasSubstr("sha256:"));
  connect().send("DELETE", "/__emulator__/journal", {});
  EXPECT_EQ(read("journal")["count"], 0);
}

TEST_F(TheEmulatorsRemoteControl, ExpiresAndRevokes) {
  post("expire-tokens");
  EXPECT_EQ(get(about).status, 401);
  const auto issued = server.issueSession(ada);
  post("revoke");
  const auto refused = connect().postForm("/token", {{"grant_type", "refresh_token"},
                                                     {"refresh_token", issued.refreshToken},
                                                     {"client_id", "corvane-demo-client"},
                                                     {"client_secret", "corvane-demo-secret"}});
  EXPECT_EQ(json::parse(refused.body)["error"], "invalid_grant");
}

TEST_F(TheEmulatorsRemoteControl, ChangesTheConsent) {
  EXPECT_EQ(post("consent", R"({"consent":"deny"})").status, 200);
  EXPECT_EQ(post("consent", R"({"consent":"maybe"})").status, 400);
  EXPECT_EQ(post("consent", R"({"consent":"allow","account":"eve@example.com"})").status, 400);
  EXPECT_EQ(post("consent", "deny").status, 400);
}

TEST_F(TheEmulatorsRemoteControl, ChangesClaims) {
  EXPECT_EQ(post("id-token-claims", R"({"nonce":null})").status, 200);
  EXPECT_EQ(post("id-token-claims", "[]").status, 400);
}

TEST_F(TheEmulatorsRemoteControl, SaysWhatItHasNot) {
  EXPECT_EQ(post("everything").status, 404);
}

}  // namespace
}  // namespace corvane::tests
