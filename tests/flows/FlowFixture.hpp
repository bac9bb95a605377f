#pragma once

#include <gtest/gtest.h>
#include <Corvane/Corvane.hpp>
#include <CorvaneEmulator/Emulator.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>

#include "ScriptedBrowser.hpp"
#include "support/FakeLog.hpp"
#include "support/ImpatientQueue.hpp"
#include "support/TemporaryFolder.hpp"

#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace corvane::test {

/// A host with a real platform and a local Google. Two accounts: ada with more than two pages, grace with one.
class FlowTest : public ::testing::Test {
 protected:
  static constexpr std::uint64_t adasFiles = 1'203;

  FlowTest() { google.start(); }

  void TearDown() override { EXPECT_TRUE(google.faults().empty()) << google.faults().description(); }

  static emulator::Options options() {
    emulator::Options options;
    options.accounts = {{.email = "ada@example.com", .files = adasFiles},
                        {.email = "grace@example.com", .files = 7}};
    options.missingCreatedTimeEvery = 0;
    return options;
  }

  Platform makePlatform(const std::string& loginHint = "ada@example.com") {
    LinuxPlatformOptions linux;
    linux.google = GoogleEndpoints::at(google.baseURL());
    linux.keychainBackend = KeychainBackend::encryptedFile;
    linux.keychainFolder = folder.path() / "keychain";
    linux.presenter = browser;
    linux.loginHint = loginHint;
    linux.log = log;
    Platform platform = makeLinuxPlatform(std::move(linux));
    impatient = std::make_shared<ImpatientQueue>(platform.userInitiatedQueue);
    platform.userInitiatedQueue = impatient;
    return platform;
  }

  CorvaneFactory makeFactory(const std::string& loginHint = "ada@example.com") {
    return CorvaneFactory(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "flows", "", [] { return WindowHandle::terminal(); }, makePlatform(loginHint));
  }

  static GoogleDriveAccountModel signIn(CorvaneFactory& factory) {
    return get(factory.makeAuthorizationProvider(nullptr)->signIn());
  }

  static std::vector<File> everyFile(GoogleDriveAPIType& drive) {
    std::vector<File> files;
    std::optional<std::string> token;
    do {
      FilesPage page = get(drive.getFilesPage(token));
      token = page.nextPageToken();
      for (File& file : std::move(page).files()) files.push_back(std::move(file));
    } while (token);
    return files;
  }

  /// The error with which the operation ends; nothing if it succeeds.
  template <class Operation>
  static std::optional<AnyError> failureOf(Operation operation) {
    try {
      operation();
    } catch (const AnyError& error) {
      return error;
    }
    return std::nullopt;
  }

  emulator::Emulator google{options()};
  TemporaryFolder folder;
  std::shared_ptr<ScriptedBrowser> browser = std::make_shared<ScriptedBrowser>();
  std::shared_ptr<FakeLog> log = std::make_shared<FakeLog>();
  std::shared_ptr<ImpatientQueue> impatient;
};

}  // namespace corvane::test
