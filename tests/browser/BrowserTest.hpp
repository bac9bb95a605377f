#pragma once

#include "WebDriver.hpp"
#include "support/TemporaryFolder.hpp"

#include <CorvaneEmulator/Emulator.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace corvane::test {

/// A local Google that asks, and a Chromium to answer in. Screenshots stay in the build folder.
class BrowserTest : public ::testing::Test {
 protected:
  BrowserTest() { google.start(); }

  static emulator::Options options() {
    emulator::Options options;
    options.accounts = {{.email = "ada@example.com", .files = 7}, {.email = "grace@example.com", .files = 7}};
    options.consent = emulator::Consent::Ask;
    return options;
  }

  /// As a person does who has opened the page.
  void consent(const std::string& account, const std::string& decision) const {
    browser.click("input[name=account][value='" + account + "']");
    browser.click("#" + decision);
  }

  void screenshot(const std::string& name) const {
    const std::filesystem::path place = CORVANE_SCREENSHOTS;
    std::filesystem::create_directories(place);
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    browser.screenshot(place / (std::string(test->name()) + "-" + name + ".png"));
  }

  emulator::Emulator google{options()};
  TemporaryFolder folder;
  ChromeDriver driver{folder.path()};
  Chromium browser{driver, folder.path() / "profile"};
};

}  // namespace corvane::test
