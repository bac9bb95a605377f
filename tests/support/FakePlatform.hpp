#pragma once

#include <CorvanePlatform/Platform.hpp>

#include "support/FakeDriveService.hpp"
#include "support/FakeKeychain.hpp"
#include "support/FakeLog.hpp"
#include "support/FakeSession.hpp"
#include "support/FakeSignInService.hpp"
#include "support/ManualQueue.hpp"
#include "support/PlainJSON.hpp"

#include <functional>
#include <memory>
#include <vector>

namespace corvane::test {

/// A whole platform of fakes, within reach of the test.
class FakePlatform {
 public:
  FakePlatform() = default;
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;
  /// Lets go of open requests and runs what is left: blocks may hold the queue that holds them.
  ~FakePlatform() {
    do {
      driveServices.clear();
      signInServices.made.clear();
      userInitiatedQueue->runAll();
      taskPool->runAll();
    } while (!driveServices.empty());
  }

  Platform platform() {
    Platform pieces;
    pieces.keychain = keychain;
    pieces.sessionArchive = sessionArchive;
    pieces.makeDriveService = [this] {
      driveServices.push_back(std::make_shared<FakeDriveService>(driveJournal));
      return driveServices.back();
    };
    pieces.makeSignInService = signInServices.maker();
    pieces.log = log;
    pieces.userInitiatedQueue = userInitiatedQueue;
    pieces.taskPool = taskPool;
    pieces.json = json;
    return pieces;
  }

  /// What `systemPlatform()` gives where no real platform is linked.
  static FakePlatform& shared() {
    static FakePlatform platform;
    return platform;
  }

  /// Throws what keeps the system's platform from being made, while it is set.
  static std::function<void()>& sharedCannotBeMade() {
    static std::function<void()> fail;
    return fail;
  }

  std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
  std::shared_ptr<FakeSessionArchive> sessionArchive = std::make_shared<FakeSessionArchive>();
  std::vector<std::shared_ptr<FakeDriveService>> driveServices;
  std::shared_ptr<std::vector<std::string>> driveJournal = std::make_shared<std::vector<std::string>>();
  FakeSignInServices signInServices;
  std::shared_ptr<FakeLog> log = std::make_shared<FakeLog>();
  std::shared_ptr<ManualQueue> userInitiatedQueue = std::make_shared<ManualQueue>();
  std::shared_ptr<ManualQueue> taskPool = std::make_shared<ManualQueue>();
  std::shared_ptr<PlainJSON> json = std::make_shared<PlainJSON>();
};

}  // namespace corvane::test
