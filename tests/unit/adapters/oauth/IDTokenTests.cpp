#include "Documents.hpp"
#include "oauth/IDToken.hpp"
#include "oauth/OAuthErrors.hpp"

#include <gmock/gmock.h>

namespace corvane::test {
namespace {

const std::chrono::sys_seconds now{std::chrono::seconds{1'700'000'000}};

Result<IDToken, NSError> read(const std::string& token) {
  return readIDToken(Secret(token), {clientID, issuer, Secret("the-nonce"), now});
}

Result<IDToken, NSError> read(const JSONDocument& claims) {
  return read(idToken(claims));
}

JSONDocument claimsWith(const char* name, JSONDocument value) {
  auto claims = goodClaims("the-nonce", now);
  claims[name] = std::move(value);
  return claims;
}

JSONDocument claimsWithout(const char* name) {
  auto claims = goodClaims("the-nonce", now);
  claims.erase(name);
  return claims;
}

void expectRefused(const JSONDocument& claims, const char* reason) {
  const auto result = read(claims);
  ASSERT_FALSE(result) << claims;
  EXPECT_EQ(result.error().domain(), "org.openid.appauth.general");
  EXPECT_EQ(result.error().code(), -15);
  EXPECT_THAT(result.error().localizedDescription(), ::testing::HasSubstr(reason)) << claims;
}

TEST(IDToken, AGoodOneTellsWhoSignedIn) {
  const auto result = read(goodClaims("the-nonce", now));
  ASSERT_TRUE(result);
  EXPECT_EQ(result.value().subject, "1234567890");
  EXPECT_EQ(result.value().email, "ada@example.com");
}

TEST(IDToken, TheIssuerMayStandWithoutItsScheme) {
  EXPECT_TRUE(read(claimsWith("iss", "accounts.google.com")));
}

TEST(IDToken, AnotherIssuerIsRefused) {
  for (const JSONDocument& value :
       {JSONDocument("https://evil.example"), JSONDocument("http://accounts.google.com"), JSONDocument(""),
        JSONDocument(7), JSONDocument(nullptr)})
    expectRefused(claimsWith("iss", value), "another issuer");
  expectRefused(claimsWithout("iss"), "another issuer");
}

TEST(IDToken, AnotherAudienceIsRefused) {
  for (const JSONDocument& value :
       {JSONDocument("client-2"), JSONDocument(""), JSONDocument(nullptr), JSONDocument(1),
        JSONDocument::array(), JSONDocument{"client-2"}, JSONDocument{1, 2}})
    expectRefused(claimsWith("aud", value), "another program");
  expectRefused(claimsWithout("aud"), "another program");
}

TEST(IDToken, OneOfSeveralAudiencesHasToBeTheAuthorizedParty) {
  EXPECT_TRUE(read(claimsWith("aud", {clientID})));
  EXPECT_TRUE(read(claimsWith("aud", {"client-2", clientID})));
  auto claims = claimsWith("aud", {"client-2", clientID});
  claims["azp"] = "client-2";
  expectRefused(claims, "another program");
  claims.erase("azp");
  expectRefused(claims, "another program");
}

TEST(IDToken, AnAuthorizedPartyHasToBeThisProgramWithOneAudienceToo) {
  EXPECT_TRUE(read(claimsWithout("azp")));
  for (const JSONDocument& audience : {JSONDocument(clientID), JSONDocument{clientID}})
    for (const JSONDocument& party :
         {JSONDocument("client-2"), JSONDocument(""), JSONDocument(nullptr), JSONDocument(1),
          JSONDocument{clientID}}) {
      auto claims = claimsWith("aud", audience);
      claims["azp"] = party;
      expectRefused(claims, "another program");
    }
}

TEST(IDToken, AnExpiredOneIsRefusedAfterFiveMinutesOfTolerance) {
  const auto seconds = now.time_since_epoch().count();
  EXPECT_TRUE(read(claimsWith("exp", seconds - 299)));
  expectRefused(claimsWith("exp", seconds - 300), "expired");
  expectRefused(claimsWith("exp", -1), "expired");
  expectRefused(claimsWith("exp", "soon"), "no expiry");
  expectRefused(claimsWithout("exp"), "no expiry");
}

TEST(IDToken, AnotherNonceIsRefused) {
  for (const JSONDocument& value :
       {JSONDocument("the-other"), JSONDocument("the-nonce "), JSONDocument(""), JSONDocument(1)})
    expectRefused(claimsWith("nonce", value), "another sign-in");
  expectRefused(claimsWithout("nonce"), "another sign-in");
}

TEST(IDToken, OneWithoutAnAccountIsRefused) {
  expectRefused(claimsWithout("sub"), "no account");
  expectRefused(claimsWith("sub", ""), "no account");
  expectRefused(claimsWith("sub", std::string(256, '1')), "no account");
}

TEST(IDToken, AnAbsentOrIllegibleAddressIsEmpty) {
  for (const auto& claims :
       {claimsWithout("email"), claimsWith("email", 1), claimsWith("email", nullptr),
        claimsWith("email", "ada\n@example.com"), claimsWith("email", std::string("a\0b", 3))}) {
    const auto result = read(claims);
    ASSERT_TRUE(result) << claims;
    EXPECT_EQ(result.value().email, "");
  }
}

TEST(IDToken, TheFirstOfTwoClaimsOfOneNameCounts) {
  auto text = goodClaims("the-nonce", now).dump();
  text.insert(text.size() - 1, R"(,"email":"eve@example.com")");
  const auto result =
      read(encodeBase64URL(dataFromText("{}")) + "." + encodeBase64URL(dataFromText(text)) + ".x");
  ASSERT_TRUE(result);
  EXPECT_EQ(result.value().email, "ada@example.com");
}

TEST(IDToken, WhatIsNoTokenIsUnreadableAndNotQuoted) {
  const auto good = idToken(goodClaims("the-nonce", now));
  const auto part = [](const char* text) { return encodeBase64URL(dataFromText(text)); };
  for (const auto& text :
       {std::string(), std::string("."), std::string(".."), std::string("secret-text"), std::string("a.b"),
        good + ".more", good.substr(0, good.find('.')), "=" + good, part("{}") + "." + part("[]") + ".x",
        part("{}") + "." + part("{\"aud\":") + ".x", part("nothing") + good.substr(good.find('.')),
        part("{}") + "." + part("{}{}") + ".x", part("{}") + "." + part("{\"a\":\"\xff\"}") + ".x",
        part("{}") + "." + part((std::string(100'000, '[')).c_str()) + ".x"}) {
    const auto result = read(text);
    ASSERT_FALSE(result) << text;
    EXPECT_EQ(result.error().code(), -14) << text;
    EXPECT_THAT(result.error().localizedDescription(), ::testing::Not(::testing::HasSubstr("secret-text")));
  }
}

}  // namespace
}  // namespace corvane::test
