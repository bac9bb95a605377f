#include "present/ReadableSize.hpp"

#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

TEST(ReadableSize, UsesTheLargestUnitThatLeavesAtLeastOne) {
  EXPECT_EQ(readableSize(0), "0 B");
  EXPECT_EQ(readableSize(1023), "1023 B");
  EXPECT_EQ(readableSize(1024), "1.0 KiB");
  EXPECT_EQ(readableSize(1536), "1.5 KiB");
  EXPECT_EQ(readableSize(16'106'127'360), "15.0 GiB");
  EXPECT_EQ(readableSize(5'242'880'000'000), "4.8 TiB");
}

TEST(ReadableSize, RoundingUpMovesToTheNextUnit) {
  EXPECT_EQ(readableSize(1024 * 1024 - 1), "1.0 MiB");
  EXPECT_EQ(readableSize(1024 * 1024 - 52), "1023.9 KiB");
}

TEST(ReadableSize, ExtremesOf64BitsAreShown) {
  EXPECT_EQ(readableSize(INT64_MAX), "8.0 EiB");
  EXPECT_EQ(readableSize(INT64_MIN), "-8.0 EiB");
  EXPECT_EQ(readableSize(std::int64_t{1} << 50), "1.0 PiB");
  EXPECT_EQ(readableSize(std::int64_t{3} << 59), "1.5 EiB");
  EXPECT_EQ(readableSize(-2048), "-2.0 KiB");
}

TEST(ReadableCount, ThousandsAreSetApart) {
  EXPECT_EQ(readableCount(0), "0");
  EXPECT_EQ(readableCount(999), "999");
  EXPECT_EQ(readableCount(1000), "1,000");
  EXPECT_EQ(readableCount(1'234'567), "1,234,567");
}

}  // namespace
}  // namespace corvane::cli::test
