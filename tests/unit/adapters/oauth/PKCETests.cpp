#include "oauth/Base64URL.hpp"
#include "oauth/ConstantTime.hpp"
#include "oauth/PKCE.hpp"
#include "oauth/RandomText.hpp"

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace corvane::test {
namespace {

TEST(PKCE, TheChallengeIsTheOneOfRFC7636AppendixB) {
  EXPECT_EQ(PKCE::challengeFor(Secret("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk")),
            "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
}

TEST(PKCE, AVerifierHas43CharactersOfTheUnreservedSetAndMatchesItsChallenge) {
  const auto pair = PKCE::make();
  EXPECT_THAT(std::string(pair.verifier.reveal()), ::testing::MatchesRegex("[A-Za-z0-9_-]{43}"));
  EXPECT_EQ(PKCE::challengeFor(pair.verifier), pair.challenge);
}

TEST(RandomText, NoTwoAreAlike) {
  std::set<std::string> texts;
  for (int i = 0; i < 1000; ++i) texts.emplace(randomText(16).reveal());
  EXPECT_EQ(texts.size(), 1000u);
}

TEST(RandomText, SixteenBytesTake22Characters) {
  EXPECT_EQ(randomText(16).reveal().size(), 22u);
}

TEST(Base64URL, DecodesTheVectorsOfRFC4648) {
  for (const auto& [text, encoded] : std::initializer_list<std::pair<const char*, const char*>>{
           {"", ""}, {"f", "Zg"}, {"fo", "Zm8"}, {"foo", "Zm9v"}, {"foob", "Zm9vYg"}, {"fooba", "Zm9vYmE"}}) {
    EXPECT_EQ(encodeBase64URL(dataFromText(text)), encoded);
    EXPECT_EQ(decodeBase64URL(encoded), dataFromText(text));
  }
}

TEST(Base64URL, PaddingForeignCharactersAndImpossibleLengthsAreRefused) {
  for (const auto* text : {"Zg==", "Zm9v+", "Zm9v/", "Z m9", "Z", "Zm9vY", "Zm9v\n", "Zh"})
    EXPECT_EQ(decodeBase64URL(text), std::nullopt) << text;
}

TEST(ConstantTime, OnlyEqualTextsAreEqual) {
  EXPECT_TRUE(equalInConstantTime("abc", "abc"));
  EXPECT_TRUE(equalInConstantTime("", ""));
  EXPECT_FALSE(equalInConstantTime("abc", "abd"));
  EXPECT_FALSE(equalInConstantTime("abc", "ab"));
  EXPECT_FALSE(equalInConstantTime("", "a"));
}

}  // namespace
}  // namespace corvane::test
