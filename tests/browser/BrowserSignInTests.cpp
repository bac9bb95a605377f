#include "BrowserTest.hpp"

#include <Corvane/Corvane.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>
#include <CorvanePlatform/SignInService.hpp>

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>

// The pages of a sign-in as a person meets them, in a real browser.

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using Case = GoogleDriveAuthorizationProviderError::Case;

/// Hands the addresses to the test, which has the browser.
struct NotingPresenter final : Presenter {
  std::shared_ptr<Cancellable> present(const std::string&, const WindowHandle&,
                                       UniqueFunction<void()>) override {
    return nullptr;
  }
  std::shared_ptr<Cancellable> presentLink(const SignInLink& link, const WindowHandle&,
                                           UniqueFunction<void()>) override {
    last = link;
    return nullptr;
  }
  SignInLink last;
};

/// A sign-in that has been started.
struct SignIn {
  std::string start;  // where the browser begins
  std::string page;
  std::future<GoogleDriveAccountModel> account;
  std::future<GoogleDriveAuthorizationProviderError> error;
  AnyCancellable subscription;

  bool isWaiting() const {
    return account.wait_for(0s) == std::future_status::timeout &&
           error.wait_for(0s) == std::future_status::timeout;
  }
  std::string parameter(const std::string& name) const {
    const auto begin = page.find(name + "=") + name.size() + 1;
    return page.substr(begin, page.find('&', begin) - begin);
  }
  /// Where the browser comes back to, as far as it is known beforehand.
  std::string redirect() const {
    std::string uri = parameter("redirect_uri");
    for (const auto& [code, sign] : {std::pair{"%3A", ":"}, std::pair{"%2F", "/"}})
      for (auto found = uri.find(code); found != std::string::npos; found = uri.find(code))
        uri.replace(found, 3, sign);
    return uri;
  }
};

struct BrowserSignIn : BrowserTest {
  std::shared_ptr<NotingPresenter> presenter = std::make_shared<NotingPresenter>();
  CorvaneFactory factory{
      dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
      "browser", "", [] { return WindowHandle::terminal(); }, platform()};

  Platform platform() const {
    LinuxPlatformOptions linux;
    linux.google = GoogleEndpoints::at(google.baseURL());
    linux.keychainBackend = KeychainBackend::encryptedFile;
    linux.keychainFolder = folder.path() / "keychain";
    linux.presenter = presenter;
    linux.logLevel = LogLevel::off;
    return makeLinuxPlatform(std::move(linux));
  }

  SignIn start() {
    auto account = std::make_shared<std::promise<GoogleDriveAccountModel>>();
    auto error = std::make_shared<std::promise<GoogleDriveAuthorizationProviderError>>();
    SignIn signIn{{}, {}, account->get_future(), error->get_future(), {}};
    signIn.subscription = factory.makeAuthorizationProvider(nullptr)->signIn().sink(
        [error](Completion<GoogleDriveAuthorizationProviderError> end) {
          if (end.isFailure()) error->set_value(std::move(end).error());
        },
        [account](GoogleDriveAccountModel value) { account->set_value(std::move(value)); });
    signIn.start = presenter->last.oneUse;
    signIn.page = presenter->last.page;
    return signIn;
  }

  std::vector<std::string> accounts() {
    std::vector<std::string> emails;
    try {
      for (const auto& account : get(factory.makeAccountProvider()->getAccounts()))
        emails.push_back(account.userEmail());
    } catch (const AnyError& error) {
      if (errorKind(error) != ErrorKind::notSignedIn) throw;
    }
    return emails;
  }
};

TEST_F(BrowserSignIn, AllowedItEndsAtDriveWithTheChosenAccount) {
  auto signIn = start();
  browser.open(signIn.start);
  EXPECT_EQ(browser.url(), signIn.page);
  screenshot("consent");
  EXPECT_TRUE(browser.isTicked("#drive"));
  consent("grace@example.com", "allow");
  browser.waitForURL("https://drive.google.com/");
  EXPECT_EQ(signIn.account.get().userEmail(), "grace@example.com");
  EXPECT_EQ(accounts(), std::vector<std::string>{"grace@example.com"});
}

TEST_F(BrowserSignIn, StartThatIsReloadedOrOpenedTwiceInOneBrowserGoesOn) {
  auto signIn = start();
  browser.open(signIn.start);
  browser.reload();
  browser.newTab();
  browser.open(signIn.start);
  EXPECT_EQ(browser.url(), signIn.page);
  consent("ada@example.com", "allow");
  EXPECT_EQ(signIn.account.get().userEmail(), "ada@example.com");
}

TEST_F(BrowserSignIn, StartThatTwoBrowsersOpenEndsTheSignIn) {
  auto signIn = start();
  Chromium stranger(driver, folder.path() / "stranger");
  stranger.open(signIn.start);
  EXPECT_EQ(stranger.url(), signIn.page);
  browser.open(signIn.start);
  EXPECT_THAT(browser.text(), HasSubstr("opened twice"));
  screenshot("opened-twice");
  const auto error = signIn.error.get();
  EXPECT_EQ(error.kind(), Case::signInFailed);
  EXPECT_EQ(error.underlying()->code(), signInOpenedTwiceCode);
  stranger.click("#allow");  // its way back is closed
  EXPECT_TRUE(accounts().empty());
}

TEST_F(BrowserSignIn, DeniedItSaysSoInBrowserAndProgramAndAReloadChangesNothing) {
  auto signIn = start();
  browser.open(signIn.start);
  consent("ada@example.com", "deny");
  browser.waitForURL(signIn.redirect());
  EXPECT_THAT(browser.text(), HasSubstr("Access to the account was not granted"));
  EXPECT_EQ(browser.style("main", "border-top-style"), "solid");  // the page's own policy lets its style in
  screenshot("page");
  EXPECT_EQ(signIn.error.get().kind(), Case::accessDenied);

  browser.reload();  // of a page whose server is gone
  EXPECT_THAT(browser.url(), StartsWith(signIn.redirect()));
  EXPECT_THAT(browser.text(), Not(HasSubstr("not granted")));
  screenshot("reloaded");
  EXPECT_TRUE(accounts().empty());
}

TEST_F(BrowserSignIn, WithTheDriveBoxUntickedItSaysWhatIsMissing) {
  auto signIn = start();
  browser.open(signIn.start);
  browser.click("#drive");
  EXPECT_FALSE(browser.isTicked("#drive"));
  screenshot("consent");
  consent("ada@example.com", "allow");
  browser.waitForURL(signIn.redirect());
  EXPECT_THAT(browser.text(), HasSubstr("tick the box"));
  screenshot("page");
  EXPECT_EQ(signIn.error.get().kind(), Case::missingRequiredScopes);
  EXPECT_TRUE(accounts().empty());
}

TEST_F(BrowserSignIn, ReloadOfTheRedirectPageBeforeConsentLeavesItWaiting) {
  auto signIn = start();
  browser.open(signIn.start);
  const auto first = browser.tab();
  browser.newTab();
  browser.open(signIn.redirect());
  EXPECT_THAT(browser.text(), HasSubstr("does not belong to the sign-in"));
  browser.reload();
  EXPECT_THAT(browser.text(), HasSubstr("does not belong to the sign-in"));
  screenshot("redirect");
  EXPECT_TRUE(signIn.isWaiting());

  browser.switchTo(first);
  consent("ada@example.com", "allow");
  EXPECT_EQ(signIn.account.get().userEmail(), "ada@example.com");
}

TEST_F(BrowserSignIn, SecondTabWithAnOldStateDisturbsNothing) {
  auto old = start();
  browser.open(old.start);
  const auto oldTab = browser.tab();
  old.subscription.cancel();
  auto current = start();
  const auto currentTab = browser.newTab();
  browser.open(current.start);

  browser.switchTo(oldTab);
  consent("grace@example.com", "allow");  // its way back is closed
  browser.waitForURL(old.redirect());
  screenshot("old-way-back");
  browser.open(current.redirect() + "?code=stolen&state=" + old.parameter("state"));
  EXPECT_THAT(browser.text(), HasSubstr("does not belong to the sign-in"));
  screenshot("old-state");
  EXPECT_TRUE(current.isWaiting());

  browser.switchTo(currentTab);
  consent("ada@example.com", "allow");
  EXPECT_EQ(current.account.get().userEmail(), "ada@example.com");
  EXPECT_EQ(accounts(), std::vector<std::string>{"ada@example.com"});
}

TEST_F(BrowserSignIn, BrowserThatIsClosedWhileTheHostCancelsLeavesNothingBehind) {
  const auto gate = std::make_shared<emulator::Gate>();
  google.faults().add("token", emulator::Fault::held(gate));
  auto signIn = start();
  // The way back is answered only once the code has been exchanged: nothing here may wait for a page.
  Chromium leaving(driver, folder.path() / "leaving", PageLoad::notAwaited);
  leaving.open(signIn.start);
  leaving.click("#allow");
  ASSERT_TRUE(gate->waitUntilReached());
  {
    const auto closing = std::async(std::launch::async, [&leaving] { leaving.close(); });
    signIn.subscription.cancel();
  }
  gate->open();
  EXPECT_THROW(signIn.account.get(), std::future_error);  // dropped without a word
  EXPECT_THROW(signIn.error.get(), std::future_error);
  EXPECT_TRUE(accounts().empty());

  Chromium another(driver, folder.path() / "another");
  another.open(signIn.redirect());
  EXPECT_THAT(another.text(), Not(HasSubstr("sign-in")));  // the port is closed
  auto again = start();
  another.open(again.start);
  another.click("#allow");
  EXPECT_EQ(again.account.get().userEmail(), "ada@example.com");
}

}  // namespace
}  // namespace corvane::test
