#include "curl/HeaderLines.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

}  // namespace
}  // namespace corvane::test
