#include "present/ShellText.hpp"
#include "present/Style.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

namespace corvane::cli::test {
namespace {

/// Sets an environment variable for the time of a test.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* former = std::getenv(name)) former_ = former;
    if (value)
      ::setenv(name, value, 1);
    else
      ::unsetenv(name);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() {
    if (former_)
      ::setenv(name_, former_->c_str(), 1);
    else
      ::unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> former_;
};

TEST(Color, AutomaticMeansOnATerminalThatCan) {
  const Variable noColor("NO_COLOR", nullptr);
  const Variable terminal("TERM", "xterm");
  EXPECT_TRUE(wantsColor(ColorChoice::automatic, true));
  EXPECT_FALSE(wantsColor(ColorChoice::automatic, false));
  const Variable dumb("TERM", "dumb");
  EXPECT_FALSE(wantsColor(ColorChoice::automatic, true));
}

TEST(Color, NoColorIsHonouredUnlessColourIsAskedFor) {
  const Variable terminal("TERM", "xterm");
  const Variable noColor("NO_COLOR", "1");
  EXPECT_FALSE(wantsColor(ColorChoice::automatic, true));
  EXPECT_TRUE(wantsColor(ColorChoice::always, false));
  const Variable empty("NO_COLOR", "");
  EXPECT_TRUE(wantsColor(ColorChoice::automatic, true));
  EXPECT_FALSE(wantsColor(ColorChoice::never, true));
}

TEST(Style, PaintsOrLeavesTextAlone) {
  EXPECT_EQ(Style(true).bold("x"), "\x1b[1mx\x1b[0m");
  EXPECT_EQ(Style(false).bold("x"), "x");
  EXPECT_EQ(Style(true).red(""), "");
}

TEST(ShellText, IsOneWordWhateverStandsInIt) {
  EXPECT_EQ(shellText("1AbC_x-y"), "1AbC_x-y");
  EXPECT_EQ(shellText("~!!~a b"), "'~!!~a b'");
  EXPECT_EQ(shellText("it's"), "'it'\\''s'");
  EXPECT_EQ(shellText(""), "''");
}

}  // namespace
}  // namespace corvane::cli::test
