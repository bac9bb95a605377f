#include "present/ProgressLine.hpp"

#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

struct Screen {
  std::string shown;
  std::chrono::steady_clock::time_point now{};

  ProgressLine::Print print() {
    return [this](std::string_view text) { shown += text; };
  }
  ProgressLine::Clock clock() {
    return [this] { return now; };
  }
};

TEST(ProgressLine, TellsFilesSoFarAndTheRate) {
  Screen screen;
  ProgressLine progress(true, screen.print(), screen.clock());
  screen.now += std::chrono::seconds(2);
  progress.show(12'500);
  EXPECT_EQ(screen.shown, "\r\x1b[K12,500 files, 6,250 a second …");
}

TEST(ProgressLine, EarlyRateIsNotGuessed) {
  Screen screen;
  ProgressLine progress(true, screen.print(), screen.clock());
  progress.show(1);
  EXPECT_EQ(screen.shown, "\r\x1b[K1 file …");
}

TEST(ProgressLine, IsClearedAtTheEnd) {
  Screen screen;
  {
    ProgressLine progress(true, screen.print(), screen.clock());
    progress.show(500);
    screen.shown.clear();
  }
  EXPECT_EQ(screen.shown, "\r\x1b[K");
}

TEST(ProgressLine, DisabledOnePrintsNothing) {
  Screen screen;
  {
    ProgressLine progress(false, screen.print(), screen.clock());
    progress.show(500);
    progress.clear();
  }
  EXPECT_EQ(screen.shown, "");
}

}  // namespace
}  // namespace corvane::cli::test
