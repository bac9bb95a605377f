#include "oauth/FormEncoding.hpp"

#include <gtest/gtest.h>

#include <string>

namespace corvane::test {
namespace {

TEST(FormEncoding, EverythingButUnreservedCharactersIsEscaped) {
  EXPECT_EQ(percentEncoded("aZ09-._~ +&=/:%\n"), "aZ09-._~%20%2B%26%3D%2F%3A%25%0A");
  EXPECT_EQ(percentEncoded("\xC3\xA9"), "%C3%A9");
}

TEST(FormEncoding, ABodyJoinsItsFields) {
  const auto body = FormBody().add("code", "4/0A b").add("client_id", "x&y").take();
  EXPECT_EQ(textView(body), "code=4%2F0A%20b&client_id=x%26y");
}

TEST(FormEncoding, ParametersComeDecodedWithPlusAsSpace) {
  const auto parameters = parseForm("state=a%2Fb&scope=email+openid%20x&empty=&bare&&last=1");
  ASSERT_TRUE(parameters);
  const auto value = [&](const char* name) {
    const auto* found = findParameter(*parameters, name);
    return found ? std::string(found->reveal()) : std::string("absent");
  };
  EXPECT_EQ(value("state"), "a/b");
  EXPECT_EQ(value("scope"), "email openid x");
  EXPECT_EQ(value("empty"), "");
  EXPECT_EQ(value("bare"), "");
  EXPECT_EQ(value("last"), "1");
  EXPECT_EQ(value("other"), "absent");
}

TEST(FormEncoding, ANameThatComesTwiceIsRefusedHoweverItIsEscaped) {
  EXPECT_FALSE(parseForm("state=a&code=b&state=a"));
  EXPECT_FALSE(parseForm("state=a&s%74ate=b"));
}

TEST(FormEncoding, BrokenEscapesAreRefused) {
  for (const auto* text : {"a=%", "a=%4", "a=%zz", "a=%4g", "%=a"}) EXPECT_FALSE(parseForm(text)) << text;
}

}  // namespace
}  // namespace corvane::test
