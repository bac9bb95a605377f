#include "FaultyKeyring.hpp"

#include <Corvane/Corvane.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>

// One action of the user's may begin many operations. The keyring asks once for all of them.

namespace corvane::test {
namespace {

using ::testing::Each;

class OneAction : public testing::Test {
 protected:
  std::shared_ptr<GoogleDriveAPIType> api(const std::string& account) {
    return factory.makeAPI(GoogleDriveAccountModel(account));
  }

  void startLocked(const std::string& prompt) { keyring.start("--locked --prompt " + prompt); }

  template <class Value>
  static ErrorKind kindOf(std::future<Result<Value, AnyError>> operation) {
    auto result = operation.get();
    return result ? ErrorKind::other : errorKind(std::move(result).error());
  }
  template <class Value>
  static ErrorKind kindOf(const AnyPublisher<Value>& operation) {
    return kindOf(toFuture(operation));
  }

  /// Fifty deletions of one object, all begun before the first has ended.
  static std::vector<ErrorKind> deleteFifty(GoogleDriveAPIType& drive) {
    std::vector<std::future<Result<Void, AnyError>>> operations;
    for (int i = 0; i < 50; ++i) operations.push_back(toFuture(drive.deleteFile("file")));
    std::vector<ErrorKind> kinds;
    for (auto& operation : operations) kinds.push_back(kindOf(std::move(operation)));
    return kinds;
  }

  void pass(std::chrono::milliseconds time) { now = now.load() + time; }

  FaultyKeyring keyring;
  std::atomic<RecentAnswer::Time> now{RecentAnswer::Time{}};
  std::function<void()> onFailure = [] {};
  std::shared_ptr<SecretServiceKeychain> keychain = std::make_shared<SecretServiceKeychain>(
      [this](const std::string&) { onFailure(); }, SecretServiceLimits{.reply = std::chrono::seconds(1)},
      [this] { return now.load(); });
  CorvaneFactory factory{{},
                         "corvane",
                         "",
                         [] { return std::nullopt; },
                         [this] {
                           LinuxPlatformOptions options;
                           options.keychain = keychain;
                           options.logLevel = LogLevel::off;
                           return makeLinuxPlatform(std::move(options));
                         }()};
};

TEST_F(OneAction, TwoOperationsOfOneObjectAskOnce) {
  startLocked("dismiss");
  const auto drive = api("ada");
  auto about = toFuture(drive->getAbout());
  auto page = toFuture(drive->getFilesPage(std::nullopt));
  EXPECT_EQ(kindOf(std::move(about)), ErrorKind::cancelled);
  EXPECT_EQ(kindOf(std::move(page)), ErrorKind::cancelled);
  EXPECT_EQ(keyring.calls("Prompt"), 1);
}

TEST_F(OneAction, FiftyDeletionsAskOnce) {
  startLocked("dismiss");
  EXPECT_THAT(deleteFifty(*api("ada")), Each(ErrorKind::cancelled));
  EXPECT_EQ(keyring.calls("Prompt"), 1);
}

TEST_F(OneAction, FiftyDeletionsTryTheirLuckWithOneWrongPassword) {
  startLocked("shrug");
  EXPECT_THAT(deleteFifty(*api("ada")), Each(ErrorKind::keychainLocked));
  EXPECT_EQ(keyring.calls("Prompt"), 1);
}

TEST_F(OneAction, AnotherAccountSharesTheAnswerWithinASecond) {
  startLocked("dismiss");
  EXPECT_EQ(kindOf(api("ada")->getAbout()), ErrorKind::cancelled);
  pass(std::chrono::seconds(1));
  EXPECT_EQ(kindOf(api("bob")->getAbout()), ErrorKind::cancelled);
  EXPECT_EQ(keyring.calls("Prompt"), 1);
}

TEST_F(OneAction, AnotherAccountAsksAnewAfterASecond) {
  startLocked("dismiss");
  EXPECT_EQ(kindOf(api("ada")->getAbout()), ErrorKind::cancelled);
  pass(std::chrono::milliseconds(1001));
  EXPECT_EQ(kindOf(api("bob")->getAbout()), ErrorKind::cancelled);
  EXPECT_EQ(keyring.calls("Prompt"), 2);
}

TEST_F(OneAction, AnswerThatUnlocksServesEveryOperation) {
  startLocked("grant");
  EXPECT_THAT(deleteFifty(*api("ada")), Each(ErrorKind::notSignedIn));
  EXPECT_EQ(keyring.calls("Prompt"), 1);
}

// The service goes on as soon as the first operation has failed; the others would find it working.
TEST_F(OneAction, FrozenServiceIsWaitedForOnce) {
  keyring.start();
  keyring.freeze();
  std::once_flag once;
  onFailure = [&] { std::call_once(once, [this] { keyring.thaw(); }); };
  EXPECT_THAT(deleteFifty(*api("ada")), Each(ErrorKind::keychainUnavailable));
  pass(std::chrono::milliseconds(1001));
  EXPECT_EQ(kindOf(api("ada")->getAbout()), ErrorKind::notSignedIn);
}

}  // namespace
}  // namespace corvane::test
