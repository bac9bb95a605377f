#include "portal/XdgOpenPresenter.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <string>

namespace corvane::test {
namespace {

/// An opener of the test's own: a script, and a pipe on which it reports.
struct XdgOpenPresenterTest : ::testing::Test {
  TemporaryFolder folder;
  std::string pipe = (folder.path() / "report").string();
  std::promise<std::string> shown;

  XdgOpenPresenterTest() { ::mkfifo(pipe.c_str(), 0600); }

  std::string script(const std::string& body) {
    const auto path = folder.path() / "opener";
    std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path.string();
  }
  std::string report() {
    std::ifstream stream(pipe);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  XdgOpenPresenter presenter(const std::string& opener) {
    return XdgOpenPresenter([this](const std::string& url) { shown.set_value(url); }, opener);
  }
};

constexpr auto url = "https://accounts.example/auth?a=1&b=$(touch /tmp/x);'\"&c=%20";

TEST_F(XdgOpenPresenterTest, TheOpenerGetsTheWholeURLAsItsOneArgument) {
  const auto opener = script("printf '%s:%s' $# \"$1\" > '" + pipe + "'");
  const auto presentation = presenter(opener).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(report(), std::string("1:") + url);
}

TEST_F(XdgOpenPresenterTest, TheOpenerHasNoTerminalNoFileOfOursAndASessionOfItsOwn) {
  const std::ifstream held("/dev/zero");
  const auto opener = script(
      "terminal=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)\n"
      "files=$(readlink /proc/$$/fd/*)\n"
      "session=$(cut -d' ' -f6 /proc/$$/stat)\n"
      "[ $session = $$ ] && leader=yes\n"
      "printf '%s\\nleader: %s\\n%s' \"$terminal\" \"$leader\" \"$files\" > '" +
      pipe + "'");
  const auto presentation = presenter(opener).present(url, WindowHandle::terminal(), nullptr);
  const auto told = report();
  EXPECT_THAT(told, ::testing::StartsWith("/dev/null\n/dev/null\n/dev/null\nleader: yes\n"));
  EXPECT_THAT(told, ::testing::Not(::testing::HasSubstr("/dev/zero")));
}

TEST_F(XdgOpenPresenterTest, AnOpenerThatCannotBeStartedHasTheURLShown) {
  const auto presentation =
      presenter((folder.path() / "missing").string()).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(shown.get_future().get(), url);
}

TEST_F(XdgOpenPresenterTest, AnOpenerThatFailsHasTheURLShown) {
  const auto presentation = presenter(script("exit 3")).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(shown.get_future().get(), url);
}

TEST_F(XdgOpenPresenterTest, AnOpenerThatIsKilledHasTheURLShown) {
  const auto presentation = presenter(script("kill -9 $$")).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(shown.get_future().get(), url);
}

TEST_F(XdgOpenPresenterTest, TheWaitingThreadTakesNoneOfTheHostsSignals) {
  std::promise<sigset_t> mask;
  XdgOpenPresenter presenter(
      [&mask](const std::string&) {
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        mask.set_value(blocked);
      },
      script("exit 3"));
  const auto presentation = presenter.present(url, WindowHandle::terminal(), nullptr);
  const sigset_t blocked = mask.get_future().get();
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD})
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
  EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
  sigset_t own;
  pthread_sigmask(SIG_SETMASK, nullptr, &own);
  EXPECT_EQ(sigismember(&own, SIGINT), 0);
}

TEST_F(XdgOpenPresenterTest, AWaitingOpenerHoldsNobodyUp) {
  // The opener waits for the test to read, so `present` could not return if it waited for the opener.
  const auto presentation =
      presenter(script("echo done > '" + pipe + "'")).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(report(), "done\n");
}

}  // namespace
}  // namespace corvane::test
