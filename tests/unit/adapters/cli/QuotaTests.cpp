#include "present/AboutPage.hpp"
#include "present/QuotaBar.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

const Style plain(false);

TEST(QuotaBar, IsFilledByTheShareThatIsUsed) {
  EXPECT_EQ(quotaBar(25, 100, plain), "[##########..............................] 25 %");
  EXPECT_EQ(quotaBar(0, 100, plain), "[........................................] 0 %");
  EXPECT_EQ(quotaBar(100, 100, plain), "[########################################] 100 %");
}

TEST(QuotaBar, LittleUseShowsAndAlmostFullIsNotFull) {
  EXPECT_EQ(quotaBar(1, 1'000'000, plain), "[#.......................................] <1 %");
  EXPECT_EQ(quotaBar(999'999, 1'000'000, plain), "[#######################################.] 99 %");
}

TEST(QuotaBar, UseBeyondTheLimitFillsTheBarAndKeepsTheNumber) {
  EXPECT_EQ(quotaBar(150, 100, plain), "[########################################] 150 %");
}

TEST(QuotaBar, WithoutALimitThereIsNoBar) {
  EXPECT_EQ(quotaBar(5, 0, plain), "");
  EXPECT_EQ(quotaBar(5, -1, plain), "");
}

TEST(QuotaBar, ColourWarnsBeforeTheStorageIsFull) {
  const Style colored(true);
  EXPECT_THAT(quotaBar(50, 100, colored), HasSubstr("\x1b[32m#"));
  EXPECT_THAT(quotaBar(80, 100, colored), HasSubstr("\x1b[33m#"));
  EXPECT_THAT(quotaBar(95, 100, colored), HasSubstr("\x1b[31m#"));
}

TEST(AboutPage, ShowsProfileBarAndNumbers) {
  const std::int64_t gib = std::int64_t{1} << 30;
  const About about(StorageQuota(15 * gib, 6 * gib, 5 * gib), true, 5'242'880'000'000,
                    User("Ada\nLovelace", "ada@example.com", "p"));
  EXPECT_EQ(aboutPage(about, plain),
            "Account   Ada\\nLovelace <ada@example.com>\n"
            "Storage   [################........................] 40 %\n"
            "          6.0 GiB of 15.0 GiB used, 9.0 GiB free\n"
            "          5.0 GiB of it in Drive\n"
            "Uploads   up to 4.8 TiB per file\n"
            "App       installed\n");
}

TEST(AboutPage, ColourDoesNotMoveTheColumns) {
  const About about(StorageQuota(1024, 512, 0), false, 0, User("A", "a", "p"));
  const std::string painted = aboutPage(about, Style(true));
  std::string shown;
  for (std::size_t i = 0; i < painted.size(); ++i) {
    if (painted[i] == '\x1b')
      i = painted.find('m', i);
    else
      shown += painted[i];
  }
  EXPECT_EQ(shown, aboutPage(about, plain));
}

TEST(AboutPage, OverfullStorageSaysByHowMuch) {
  const About about(StorageQuota(1024, 3072, 0), false, 0, User("A", "a", "p"));
  EXPECT_THAT(aboutPage(about, plain), HasSubstr("3.0 KiB of 1.0 KiB used, 2.0 KiB over the limit"));
}

}  // namespace
}  // namespace corvane::cli::test
