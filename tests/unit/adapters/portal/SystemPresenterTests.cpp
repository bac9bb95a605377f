#include <CorvaneLinux/SystemPresenter.hpp>

#include "EnvironmentVariable.hpp"
#include "FakePortal.hpp"
#include "portal/BrowserVariable.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace corvane::test {
namespace {

using Commands = std::vector<std::vector<std::string>>;

TEST(BrowserVariable, CommandsAreSeparatedByColonsAndTheirWordsByBlanks) {
  EXPECT_EQ(browserCommands("firefox:w3m -M"), (Commands{{"firefox"}, {"w3m", "-M"}}));
  EXPECT_EQ(browserCommands(""), Commands{});
  EXPECT_EQ(browserCommands("::  :"), Commands{});
}

TEST(BrowserVariable, TheURLsPlaceIsTheEnd) {
  EXPECT_EQ(browserCommands("lynx %s:open --url=%s"), (Commands{{"lynx"}}));
}

/// A desktop on which only the test's programs are found.
struct SystemPresenterTest : ::testing::Test {
  TemporaryFolder folder;
  EnvironmentVariable path{"PATH", folder.path().string()};
  EnvironmentVariable noBus{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
  EnvironmentVariable noRuntimeFolder{"XDG_RUNTIME_DIR", std::nullopt};
  std::string pipe = (folder.path() / "report").string();
  // Shared, as a presentation may outlive its test.
  std::shared_ptr<std::promise<std::string>> shown = std::make_shared<std::promise<std::string>>();

  SystemPresenterTest() { ::mkfifo(pipe.c_str(), 0600); }

  void install(const std::string& name, const std::string& body) {
    std::ofstream(folder.path() / name) << "#!/bin/sh\n" << body << "\n";
    std::filesystem::permissions(folder.path() / name, std::filesystem::perms::owner_all);
  }
  void installReporting(const std::string& name) {
    install(name, "printf '%s %s' " + name + " \"$1\" > '" + pipe + "'");
  }
  std::string report() {
    std::ifstream stream(pipe);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  std::shared_ptr<Cancellable> present(std::string_view browser = {}) {
    return makeSystemPresenter([shown = shown](const std::string& url) { shown->set_value(url); }, browser)
        ->present("https://x/?a=1&b=2", WindowHandle::terminal(), nullptr);
  }
};

TEST_F(SystemPresenterTest, ThePortalIsAskedFirst) {
  installReporting("xdg-open");
  const EnvironmentVariable withABus("PATH", folder.path().string() + ":/usr/bin:/bin");
  PrivateBus bus;
  std::promise<std::string> opened;
  FakePortal portal(bus, [&opened](const FakePortal::Call& call) {
    opened.set_value(call.uri);
    call.reply();
    call.respond(0);
  });
  const auto presentation = present();
  EXPECT_EQ(opened.get_future().get(), "https://x/?a=1&b=2");
}

TEST_F(SystemPresenterTest, WithoutAPortalXdgOpenIsTaken) {
  installReporting("xdg-open");
  const auto presentation = present();
  EXPECT_EQ(report(), "xdg-open https://x/?a=1&b=2");
}

TEST_F(SystemPresenterTest, WithoutXdgOpenTheURLIsShown) {
  const auto presentation = present();
  EXPECT_EQ(shown->get_future().get(), "https://x/?a=1&b=2");
}

TEST_F(SystemPresenterTest, WhenXdgOpenFailsTheURLIsShown) {
  install("xdg-open", "exit 3");
  const auto presentation = present();
  EXPECT_EQ(shown->get_future().get(), "https://x/?a=1&b=2");
}

TEST_F(SystemPresenterTest, AWantedBrowserComesBeforeAllOthers) {
  installReporting("xdg-open");
  installReporting("wanted");
  const auto presentation = present("wanted");
  EXPECT_EQ(report(), "wanted https://x/?a=1&b=2");
}

TEST_F(SystemPresenterTest, WantedBrowsersAreTriedInOrderAndThenTheURLIsShown) {
  installReporting("xdg-open");
  install("failing", "exit 1");
  const auto presentation = present("missing:failing");
  EXPECT_EQ(shown->get_future().get(), "https://x/?a=1&b=2");
}

}  // namespace
}  // namespace corvane::test
