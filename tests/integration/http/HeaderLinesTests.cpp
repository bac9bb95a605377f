#include "curl/HeaderLines.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace corvane::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> texts(HeaderLines& lines) {
  std::vector<std::string> texts;
  for (const auto* each = lines.list(); each; each = each->next) texts.emplace_back(each->data);
  return texts;
}

TEST(HeaderLines, AreListedInTheirOrder) {
  HeaderLines lines;
  EXPECT_THAT(texts(lines), IsEmpty());
  lines.addLine("Expect:");
  lines.add("X-Long", std::string(1000, 'x'));
  lines.add("X-Empty", "");
  lines.addBearer("ya29.token");
  EXPECT_THAT(texts(lines), ElementsAre("Expect:", "X-Long: " + std::string(1000, 'x'), "X-Empty;",
                                        "Authorization: Bearer ya29.token"));
}

TEST(HeaderLines, AreWipedAndGoneWhenCleared) {
  HeaderLines lines;
  lines.addBearer("ya29.token");
  const char* const memory = lines.list()->data;  // stays theirs, for the next lines
  lines.clear();
  EXPECT_TRUE(std::all_of(memory, memory + 32, [](char c) { return c == '\0'; }));
  EXPECT_THAT(texts(lines), IsEmpty());
  lines.addLine("Expect:");
  EXPECT_THAT(texts(lines), ElementsAre("Expect:"));
}

TEST(HeaderLines, KeepNoMoreMemoryThanUsualOnesNeed) {
  HeaderLines lines;
  lines.addBearer(std::string(100'000, 'x'));
  lines.clear();
  EXPECT_LT(lines.memoryKept(), 10'000u);
  lines.addBearer(std::string(200, 'x'));
  lines.clear();
  EXPECT_GE(lines.memoryKept(), 200u);
}

}  // namespace
}  // namespace corvane::test
