#include <Corvane/AnyError.hpp>
#include <Corvane/UserInfo.hpp>

#include <gtest/gtest.h>

using namespace corvane;

namespace {

struct StructuredError final : Printable {
  std::string description() const override { return "{code: 503}"; }
};

std::string printed(const UserInfoValue& value) {
  return value.description();
}

}  // namespace

TEST(UserInfoValue, IsReadOnlyAsTheKindItIs) {
  const UserInfoValue text = "a";
  EXPECT_EQ(*text.text(), "a");
  EXPECT_EQ(text.integer(), nullptr);
  EXPECT_EQ(text.boolean(), nullptr);
  EXPECT_EQ(text.dictionary(), nullptr);
  EXPECT_EQ(*UserInfoValue(7).integer(), 7);
  EXPECT_EQ(*UserInfoValue(true).boolean(), true);
  EXPECT_EQ(UserInfoValue(true).integer(), nullptr);
  EXPECT_EQ(*UserInfoValue(0.5).real(), 0.5);
  EXPECT_EQ(UserInfoValue(AnyError(NSError("D", 3))).error()->code(), 3);
  EXPECT_EQ(UserInfoValue(UserInfo{{"k", 1}}).dictionary()->size(), 1u);
  EXPECT_EQ(UserInfoValue(UserInfoValue::List{1, 2}).list()->size(), 2u);
}

TEST(UserInfoValue, PrintsEveryKindInOnePiece) {
  EXPECT_EQ(printed("plain text"), "plain text");
  EXPECT_EQ(printed(false), "false");
  EXPECT_EQ(printed(std::int64_t{-9'000'000'000}), "-9000000000");
  EXPECT_EQ(printed(1.5), "1.5");
  EXPECT_EQ(printed(UserInfo{}), "[:]");
  EXPECT_EQ(printed(UserInfo{{"a", 1}, {"b", true}}), "[\"a\": 1, \"b\": true]");
  EXPECT_EQ(printed(UserInfoValue::List{}), "[]");
  EXPECT_EQ(printed(UserInfoValue::List{1, "x"}), "[1, x]");
  EXPECT_EQ(printed(AnyError(NSError("D", 3, {{"NSLocalizedDescription", "said"}}))), "said");
  EXPECT_EQ(printed(std::shared_ptr<const Printable>(std::make_shared<StructuredError>())), "{code: 503}");
}
