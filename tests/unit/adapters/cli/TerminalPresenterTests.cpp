#include "TerminalPresenter.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace corvane::cli::test {
namespace {

struct Screen {
  std::vector<std::string> urls;
  std::vector<std::string> notes;

  std::shared_ptr<TerminalPresenter> presenter(std::shared_ptr<Presenter> browser = nullptr) {
    return std::make_shared<TerminalPresenter>(
        std::move(browser), [this](const std::string& url) { urls.push_back(url); },
        [this](const std::string& note) { notes.push_back(note); });
  }
};

struct Browser final : Presenter {
  struct Page final : Cancellable {
    void cancel() noexcept override { cancelled = true; }
    bool cancelled = false;
  };
  std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle&,
                                       UniqueFunction<void()> dismissed) override {
    opened.push_back(url);
    dismiss = std::move(dismissed);
    return page;
  }
  std::vector<std::string> opened;
  UniqueFunction<void()> dismiss;
  std::shared_ptr<Page> page = std::make_shared<Page>();
};

const std::string url = "https://accounts.example/auth?x=1&y=2";

TEST(TerminalPresenter, AddressIsPrintedBareAndOpened) {
  Screen screen;
  const auto browser = std::make_shared<Browser>();
  const auto page = screen.presenter(browser)->present(url, WindowHandle::terminal(), [] {});
  EXPECT_EQ(screen.urls, std::vector<std::string>{url});
  EXPECT_EQ(browser->opened, std::vector<std::string>{url});
}

TEST(TerminalPresenter, PageItselfIsPrintedAndTheBrowserGetsTheOneUseAddress) {
  Screen screen;
  const auto browser = std::make_shared<Browser>();
  const auto page = screen.presenter(browser)->presentLink({"http://127.0.0.1:4/once", url},
                                                           WindowHandle::terminal(), [] {});
  EXPECT_EQ(screen.urls, std::vector<std::string>{url});
  EXPECT_EQ(browser->opened, std::vector<std::string>{"http://127.0.0.1:4/once"});
}

TEST(TerminalPresenter, AddressIsPrintedAloneWhenNoBrowserIsWanted) {
  Screen screen;
  const auto page = screen.presenter()->present(url, WindowHandle::terminal(), [] {});
  EXPECT_EQ(screen.urls, std::vector<std::string>{url});
}

TEST(TerminalPresenter, QuestionThatTheUserClosesOnTheDesktopDismissesTheSignIn) {
  Screen screen;
  const auto browser = std::make_shared<Browser>();
  const auto presenter = screen.presenter(browser);
  int dismissed = 0;
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { ++dismissed; });
  browser->dismiss();
  EXPECT_EQ(dismissed, 1);
}

TEST(TerminalPresenter, NoBrowserIsOpenedForASignInThatWasGivenUpBefore) {
  Screen screen;
  const auto browser = std::make_shared<Browser>();
  const auto presenter = screen.presenter(browser);
  presenter->dismiss();
  const auto page = presenter->present(url, WindowHandle::terminal(), [] {});
  EXPECT_TRUE(browser->opened.empty());
}

TEST(TerminalPresenter, EndOfTheSignInEndsItsPresentationOnTheDesktop) {
  Screen screen;
  const auto browser = std::make_shared<Browser>();
  const auto presenter = screen.presenter(browser);
  presenter->present(url, WindowHandle::terminal(), [] {})->cancel();
  EXPECT_TRUE(browser->page->cancelled);
}

TEST(TerminalPresenter, DismissalReachesTheSignInOnce) {
  Screen screen;
  int dismissed = 0;
  const auto presenter = screen.presenter();
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { ++dismissed; });
  presenter->dismiss();
  presenter->dismiss();
  EXPECT_EQ(dismissed, 1);
}

TEST(TerminalPresenter, DismissalBeforeThePageIsUpStillCounts) {
  Screen screen;
  int dismissed = 0;
  const auto presenter = screen.presenter();
  presenter->dismiss();
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { ++dismissed; });
  EXPECT_EQ(dismissed, 1);
}

TEST(TerminalPresenter, SignInThatIsOverIsNoLongerDismissed) {
  Screen screen;
  int dismissed = 0;
  const auto presenter = screen.presenter();
  const auto page = presenter->present(url, WindowHandle::terminal(), [&dismissed] { ++dismissed; });
  page->cancel();
  presenter->dismiss();
  EXPECT_EQ(dismissed, 0);
}

}  // namespace
}  // namespace corvane::cli::test
