#include "TessoraCredentials.hpp"

#include <gtest/gtest.h>

#include "support/PlainJSON.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

using Keys = TessoraCredentials::CodingKeys;

std::optional<QVTessoraCredentials> decoded(std::string_view json) {
  return decodeCredentials(dataFromText(json), PlainJSON());
}

}  // namespace

TEST(TessoraCredentials, DecodeFromBothKeysAndIgnoreExtraMembers) {
  const auto credentials =
      decoded(R"({"extra": [1], "clientSecret": "secret", "client_id": "id", "more": {}})");
  ASSERT_TRUE(credentials);
  EXPECT_EQ(credentials->clientID(), "id");
  EXPECT_EQ(credentials->clientSecret().reveal(), "secret");
}

TEST(TessoraCredentials, KeepTheirBlanks) {
  const auto credentials = decoded(R"({"client_id": " id ", "clientSecret": "  secret "})");
  ASSERT_TRUE(credentials);
  EXPECT_EQ(credentials->clientID(), " id ");
  EXPECT_EQ(credentials->clientSecret().reveal(), "  secret ");
}

TEST(TessoraCredentials, WithTheSecretUnderASnakeCaseKeyDoNotDecode) {
  EXPECT_FALSE(decoded(R"({"client_id": "id", "client_secret": "secret"})"));
}

TEST(TessoraCredentials, WithTheIdentifierUnderACamelCaseKeyDoNotDecode) {
  EXPECT_FALSE(decoded(R"({"clientID": "id", "clientSecret": "secret"})"));
  EXPECT_FALSE(decoded(R"({"clientId": "id", "clientSecret": "secret"})"));
}

TEST(TessoraCredentials, WithANumberForATextDoNotDecode) {
  EXPECT_FALSE(decoded(R"({"client_id": 7, "clientSecret": "secret"})"));
  EXPECT_FALSE(decoded(R"({"client_id": "id", "clientSecret": 7})"));
  EXPECT_FALSE(decoded(R"({"client_id": "id", "clientSecret": null})"));
}

TEST(TessoraCredentials, EmptyTextsDecode) {
  const auto credentials = decoded(R"({"client_id": "", "clientSecret": ""})");
  ASSERT_TRUE(credentials);
  EXPECT_EQ(credentials->clientID(), "");
  EXPECT_TRUE(credentials->clientSecret().empty());
}

TEST(TessoraCredentials, AreAbsentWithoutADocumentOrFromOneThatIsNoObject) {
  EXPECT_FALSE(decodeCredentials(std::nullopt, PlainJSON()));
  EXPECT_FALSE(decoded(""));
  EXPECT_FALSE(decoded("not JSON"));
  EXPECT_FALSE(decoded(R"(["id", "secret"])"));
}

TEST(TessoraCredentials, KeysAreFoundByExactlyTheirTexts) {
  EXPECT_EQ(Keys::fromString("client_id"), Keys::clientID);
  EXPECT_EQ(Keys::fromString("clientSecret"), Keys::clientSecret);
  for (const auto* text : {"Client_id", "clientID", "client_secret", "clientsecret", "", "client_id "})
    EXPECT_EQ(Keys::fromString(text), std::nullopt) << text;
}

TEST(TessoraCredentials, KeysHaveNoIntegerForm) {
  EXPECT_EQ(Keys::clientID.intValue(), std::nullopt);
  EXPECT_EQ(Keys::clientSecret.intValue(), std::nullopt);
  EXPECT_EQ(Keys::fromInteger(0), std::nullopt);
  EXPECT_EQ(Keys::fromInteger(1), std::nullopt);
}

TEST(TessoraCredentials, KeysDescribeThemselvesAsCodingKeysDo) {
  EXPECT_EQ(Keys::clientID.description(), "CodingKeys(stringValue: \"client_id\", intValue: nil)");
  EXPECT_EQ(Keys::clientSecret.debugDescription(),
            "CodingKeys(stringValue: \"clientSecret\", intValue: nil)");
}
