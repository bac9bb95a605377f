#include "Browser.hpp"
#include "Samples.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>

namespace corvane::cli::test {
namespace {

class Browser : public testing::Test {
 protected:
  Browser() : formerPath_(std::getenv("PATH")) { sigemptyset(&signals_); }
  ~Browser() override { ::setenv("PATH", formerPath_.c_str(), 1); }

  void installBrowser(const std::string& script) {
    const auto program = folder_.write("xdg-open", script);
    ::chmod(program.c_str(), 0700);
    ::setenv("PATH", (folder_.path().string() + ":" + formerPath_).c_str(), 1);
  }

  TemporaryFolder folder_;
  std::string formerPath_;
  sigset_t signals_;
};

TEST_F(Browser, AddressReachesTheBrowserWholeAndUnreadByAShell) {
  const auto note = folder_.path() / "address";
  installBrowser("#!/bin/sh\nprintf '%s|%s' \"$#\" \"$1\" > " + note.string() + "\n");
  const std::string url = "https://example.com/auth?a=1&b=$(reboot)&c='x y'";
  ASSERT_TRUE(openInBrowser(url, signals_));
  int status = 0;
  ASSERT_GT(::wait(&status), 0);

  std::ifstream file(note);
  const std::string seen((std::istreambuf_iterator<char>(file)), {});
  EXPECT_EQ(seen, "1|" + url);
}

TEST_F(Browser, BrowserRunsInASessionOfItsOwnAndHasNoPartInThisTerminal) {
  const auto note = folder_.path() / "session";
  installBrowser("#!/bin/sh\nread -r line < /proc/self/stat\n[ -t 2 ] && echo terminal > " + note.string() +
                 "\ncut -d' ' -f1,6 /proc/$$/stat > " + note.string() + "\n");
  ASSERT_TRUE(openInBrowser("https://example.com/", signals_));
  int status = 0;
  ASSERT_GT(::wait(&status), 0);
  pid_t process = 0;
  pid_t session = 1;
  std::ifstream(note) >> process >> session;
  EXPECT_EQ(process, session);
}

TEST_F(Browser, MissingBrowserIsToldToTheCaller) {
  ::setenv("PATH", folder_.path().c_str(), 1);
  EXPECT_FALSE(openInBrowser("https://example.com/", signals_));
}

}  // namespace
}  // namespace corvane::cli::test
