#include <Corvane/Data.hpp>
#include <Corvane/Secret.hpp>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <type_traits>

using namespace corvane;

static_assert(!std::is_convertible_v<Secret, std::string>);
static_assert(!std::is_convertible_v<Secret, std::string_view>);

TEST(Secret, ShowsItsTextOnlyOnRequest) {
  const Secret secret("s3cret");
  const Secret copy = secret;
  EXPECT_EQ(copy.reveal(), "s3cret");
  EXPECT_EQ(copy, secret);
  EXPECT_FALSE(secret.empty());
  EXPECT_TRUE(Secret().empty());
}

TEST(WipeMemory, OverwritesEveryByte) {
  std::array<char, 5> bytes{'a', 'b', 'c', 'd', 'e'};
  wipeMemory(bytes.data(), 4);
  EXPECT_EQ(bytes, (std::array<char, 5>{0, 0, 0, 0, 'e'}));
}

static_assert(std::is_same_v<Data::allocator_type, WipingAllocator<std::byte>>);

TEST(Data, HoldsTheBytesOfATextAsTheyStand) {
  EXPECT_EQ(textView(dataFromText(std::string_view("a\0\xFF", 3))), std::string_view("a\0\xFF", 3));
  EXPECT_EQ(textView(Data{}), "");
}
