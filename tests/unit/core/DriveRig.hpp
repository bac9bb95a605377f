#pragma once

#include <Corvane/CorvaneFactory.hpp>

#include <memory>
#include <string>
#include <utility>

#include "support/DriveSamples.hpp"
#include "support/FakePlatform.hpp"

namespace corvane::test {

/// A Drive API object of one account over fakes, whose requests the test answers.
class DriveRig {
 public:
  DriveRig() { storeSession(); }

  void storeSession() {
    fake.keychain->insert({{"kSecClass", "kSecClassGenericPassword"},
                           {"kSecAttrAccount", "ada@example.com"},
                           {"kSecAttrService", "service"},
                           {"kSecAttrAccessGroup", "group"},
                           {"kSecValueData", dataFromText("session:ada@example.com")}});
  }
  void removeSession() {
    fake.keychain->SecItemDelete(
        {{"kSecClass", "kSecClassGenericPassword"}, {"kSecAttrAccount", "ada@example.com"}});
    fake.keychain->forgetCalls();
  }

  FakeDriveService& service() { return *fake.driveServices.at(0); }
  ManualQueue& queue() { return *fake.userInitiatedQueue; }
  void run() { queue().runAll(); }

  /// Answers request `index` and runs what follows from it, but no delay.
  void answer(std::size_t index, GTLRObject object) {
    service().answer(index, std::move(object));
    run();
  }
  void fail(std::size_t index, NSError error) {
    service().fail(index, std::move(error));
    run();
  }

  std::vector<std::string> log() const { return fake.log->messages(); }

  FakePlatform fake;
  CorvaneFactory factory{std::nullopt, "service", "group", [] { return std::nullopt; }, fake.platform()};
  std::shared_ptr<GoogleDriveAPIType> api = factory.makeAPI(GoogleDriveAccountModel("ada@example.com"));
};

}  // namespace corvane::test
