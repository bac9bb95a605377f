#include "portal/CommandPresenter.hpp"

#include "EnvironmentVariable.hpp"
#include "NextPresenter.hpp"
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
#include <memory>
#include <string>
#include <thread>

namespace corvane::test {
namespace {

/// An opener of the test's own: a script, and a pipe on which it reports.
struct CommandPresenterTest : ::testing::Test {
  TemporaryFolder folder;
  std::string pipe = (folder.path() / "report").string();
  std::shared_ptr<NextPresenter> next = std::make_shared<NextPresenter>();

  CommandPresenterTest() { ::mkfifo(pipe.c_str(), 0600); }

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
  CommandPresenter presenter(const std::string& opener) { return CommandPresenter(next, {opener}); }
  std::string handedOn() { return next->handed.get_future().get().url; }
};

constexpr auto url = "https://accounts.example/auth?a=1&b=$(touch /tmp/x);'\"&c=%20";

TEST_F(CommandPresenterTest, TheOpenerGetsTheWholeURLAsItsOneArgument) {
  const auto opener = script("printf '%s:%s' $# \"$1\" > '" + pipe + "'");
  const auto presentation = presenter(opener).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(report(), std::string("1:") + url);
}

TEST_F(CommandPresenterTest, TheOpenerHasNoTerminalNoFileOfOursAndASessionOfItsOwn) {
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

TEST_F(CommandPresenterTest, AnOpenerThatCannotBeStartedLeavesThePageToTheNext) {
  const auto presentation =
      presenter((folder.path() / "missing").string()).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(handedOn(), url);
}

TEST_F(CommandPresenterTest, AnOpenerThatFailsLeavesThePageToTheNext) {
  const auto presentation = presenter(script("exit 3")).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(handedOn(), url);
}

TEST_F(CommandPresenterTest, AnOpenerThatIsKilledLeavesThePageToTheNext) {
  const auto presentation = presenter(script("kill -9 $$")).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(handedOn(), url);
}

TEST_F(CommandPresenterTest, TheCommandsOwnArgumentsComeFirst) {
  const auto opener = script("printf '%s|' \"$@\" > '" + pipe + "'");
  const auto presentation =
      CommandPresenter(next, {opener, "--new-window", "a b"}).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(report(), "--new-window|a b|" + std::string(url) + "|");
}

TEST_F(CommandPresenterTest, TheWindowsActivationTokenReachesTheOpenerInPlaceOfTheLaunchers) {
  const EnvironmentVariable launchers("XDG_ACTIVATION_TOKEN", "launcher");
  const auto opener = script("printf %s \"$XDG_ACTIVATION_TOKEN\" > '" + pipe + "'");
  const auto first = presenter(opener).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(report(), "launcher");
  const auto second =
      presenter(opener).present(url, WindowHandle::wayland("8f").withActivationToken("window"), nullptr);
  EXPECT_EQ(report(), "window");
}

TEST_F(CommandPresenterTest, TheWindowAndTheDismissalGoOnToTheNext) {
  bool dismissed = false;
  const auto presentation =
      presenter(script("exit 3")).present(url, WindowHandle::x11(7), [&dismissed] { dismissed = true; });
  const auto handed = next->handed.get_future().get();
  EXPECT_EQ(handed.window, WindowHandle::x11(7));
  handed.dismissed();
  EXPECT_TRUE(dismissed);
}

TEST_F(CommandPresenterTest, CancellationReachesTheNextPresentersPage) {
  const auto presentation = presenter(script("exit 3")).present(url, WindowHandle::terminal(), nullptr);
  handedOn();
  presentation->cancel();
  next->page->cancelled.get_future().get();
}

TEST_F(CommandPresenterTest, AnOpenerThatFailsOnceItIsCancelledIsOfNoInterest) {
  auto handed = next->handed.get_future();
  std::weak_ptr<NextPresenter> watched = next;
  presenter(script("read -r go < '" + pipe + "'; exit 3"))
      .present(url, WindowHandle::terminal(), nullptr)
      ->cancel();
  next.reset();
  std::ofstream(pipe) << "go\n";
  while (!watched.expired()) std::this_thread::yield();  // until the opener has been waited for
  EXPECT_THROW(handed.get(), std::future_error);         // a promise that was dropped unkept
}

/// Notes the signals that are blocked on the thread that hands it a page.
struct MaskNotingPresenter final : Presenter {
  std::shared_ptr<Cancellable> present(const std::string&, const WindowHandle&,
                                       UniqueFunction<void()>) override {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    mask.set_value(blocked);
    return nullptr;
  }
  std::promise<sigset_t> mask;
};

TEST_F(CommandPresenterTest, TheWaitingThreadTakesNoneOfTheHostsSignals) {
  const auto noting = std::make_shared<MaskNotingPresenter>();
  CommandPresenter presenter(noting, {script("exit 3")});
  const auto presentation = presenter.present(url, WindowHandle::terminal(), nullptr);
  const sigset_t blocked = noting->mask.get_future().get();
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD})
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
  EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
  sigset_t own;
  pthread_sigmask(SIG_SETMASK, nullptr, &own);
  EXPECT_EQ(sigismember(&own, SIGINT), 0);
}

TEST_F(CommandPresenterTest, AWaitingOpenerHoldsNobodyUp) {
  // The opener waits for the test to read, so `present` could not return if it waited for the opener.
  const auto presentation =
      presenter(script("echo done > '" + pipe + "'")).present(url, WindowHandle::terminal(), nullptr);
  EXPECT_EQ(report(), "done\n");
}

}  // namespace
}  // namespace corvane::test
