#include "TerminalPresenter.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace corvane::cli::test {
namespace {

struct Screen {
  std::vector<std::string> urls;
  std::vector<std::string> notes;
  std::vector<std::string> opened;
  bool browserStarts = true;

  std::shared_ptr<TerminalPresenter> presenter(bool mayOpen) {
    TerminalPresenter::OpenBrowser open;
    if (mayOpen)
      open = [this](const std::string& url) {
        opened.push_back(url);
        return browserStarts;
      };
    return std::make_shared<TerminalPresenter>(
        std::move(open), [this](const std::string& url) { urls.push_back(url); },
        [this](const std::string& note) { notes.push_back(note); });
  }
};

const std::string url = "https://accounts.example/auth?x=1&y=2";

TEST(TerminalPresenter, AddressIsPrintedBareAndOpened) {
  Screen screen;
  const auto page = screen.presenter(true)->present(url, WindowHandle::terminal(), [] {});
  EXPECT_EQ(screen.urls, std::vector<std::string>{url});
  EXPECT_EQ(screen.opened, std::vector<std::string>{url});
}

TEST(TerminalPresenter, AddressIsPrintedAloneWhenNoBrowserIsWanted) {
  Screen screen;
  const auto page = screen.presenter(false)->present(url, WindowHandle::terminal(), [] {});
  EXPECT_EQ(screen.urls, std::vector<std::string>{url});
  EXPECT_TRUE(screen.opened.empty());
}

TEST(TerminalPresenter, BrowserThatDoesNotStartIsToldAndTheSignInGoesOn) {
  Screen screen;
  screen.browserStarts = false;
  bool dismissed = false;
  const auto presenter = screen.presenter(true);
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { dismissed = true; });
  EXPECT_EQ(screen.notes.back(), "No browser could be started: open the page yourself.");
  EXPECT_FALSE(dismissed);
}

TEST(TerminalPresenter, DismissalReachesTheSignInOnce) {
  Screen screen;
  int dismissed = 0;
  const auto presenter = screen.presenter(false);
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { ++dismissed; });
  presenter->dismiss();
  presenter->dismiss();
  EXPECT_EQ(dismissed, 1);
}

TEST(TerminalPresenter, DismissalBeforeThePageIsUpStillCounts) {
  Screen screen;
  int dismissed = 0;
  const auto presenter = screen.presenter(false);
  presenter->dismiss();
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { ++dismissed; });
  EXPECT_EQ(dismissed, 1);
}

TEST(TerminalPresenter, SignInThatIsOverIsNoLongerDismissed) {
  Screen screen;
  int dismissed = 0;
  const auto presenter = screen.presenter(false);
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { ++dismissed; });
  page->cancel();
  presenter->dismiss();
  EXPECT_EQ(dismissed, 0);
}

}  // namespace
}  // namespace corvane::cli::test
