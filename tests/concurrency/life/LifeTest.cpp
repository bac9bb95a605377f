#include "flows/FlowFixture.hpp"
#include "support/Threads.hpp"

#include <atomic>
#include <condition_variable>
#include <latch>
#include <mutex>

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;

class LifeTest : public FlowTest {
 protected:
  /// Holds every answer to about.get back, for ever unless released.
  void holdAbouts(std::size_t times) {
    google.faults().add("about", Fault::held(std::make_shared<Gate>()), times);
  }
  void TearDown() override {
    google.faults().clear();
    FlowTest::TearDown();
  }
};

TEST_F(LifeTest, AThousandOperationsThatRunWhenTheirObjectGoesEachEndOnceAsCancelled) {
  constexpr int operations = 1'000;
  std::unique_ptr<CorvaneFactory> factory(new CorvaneFactory(makeFactory()));
  auto drive = factory->makeAPI(signIn(*factory));
  impatient.reset();
  holdAbouts(operations);
  const auto before = google.journal().count();

  std::latch ended(operations);
  std::atomic<int> cancelled{0};
  std::vector<AnyCancellable> subscriptions;
  for (int i = 0; i < operations; ++i)
    subscriptions.push_back(drive->getAbout().sink(
        [&](const Completion<AnyError>& completion) {
          if (completion.isFailure() && completion.error().code() == -999) ++cancelled;
          ended.count_down();
        },
        [](const About&) {}));
  ASSERT_TRUE(google.journal().waitForCount(before + 10));
  drive.reset();
  factory.reset();
  ended.wait();
  EXPECT_EQ(cancelled, operations);
}

TEST_F(LifeTest, AThousandOperationsCancelledAtTeardownAreSilent) {
  constexpr int operations = 1'000;
  std::atomic<int> calls{0};
  {
    auto factory = makeFactory();
    const auto drive = factory.makeAPI(signIn(factory));
    holdAbouts(operations);
    const auto before = google.journal().count();
    std::vector<AnyCancellable> subscriptions;
    for (int i = 0; i < operations; ++i)
      subscriptions.push_back(
          drive->getAbout().sink([&](const auto&) { ++calls; }, [&](const About&) { ++calls; }));
    ASSERT_TRUE(google.journal().waitForCount(before + 10));
  }
  impatient.reset();
  EXPECT_EQ(calls, 0);
}

/// A keychain that waits for its user when it is asked for certain accounts. Like the real ones it
/// serves one reader after another: while it waits, so does every other reader.
class BlockedKeychain final : public Keychain {
 public:
  explicit BlockedKeychain(std::shared_ptr<Keychain> keychain) : keychain_(std::move(keychain)) {}

  OSStatus SecItemCopyMatching(const KeychainDictionary& query, KeychainValue* result) override {
    const auto account = query.find("kSecAttrAccount");
    const auto* name = account == query.end() ? nullptr : account->second.text();
    {
      const std::lock_guard lock(mutex_);
      ++readers_;
      changed_.notify_all();
    }
    const std::lock_guard turn(oneAtATime_);
    if (name && name->starts_with("blocked")) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return open_; });
    }
    return keychain_->SecItemCopyMatching(query, result);
  }
  OSStatus SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) override {
    return keychain_->SecItemAdd(attributes, result);
  }
  OSStatus SecItemDelete(const KeychainDictionary& query) override { return keychain_->SecItemDelete(query); }

  int readers() const {
    const std::lock_guard lock(mutex_);
    return readers_;
  }
  void waitForReaders(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return readers_ >= count; });
  }
  void open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }

 private:
  std::shared_ptr<Keychain> keychain_;
  std::mutex oneAtATime_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  int readers_ = 0;  // that came, served or not
  bool open_ = false;
};

class BlockedKeychainTest : public LifeTest {
 protected:
  static constexpr int accounts = 64;

  BlockedKeychainTest() {
    auto platform = makePlatform();
    keychain = std::make_shared<BlockedKeychain>(platform.keychain);
    platform.keychain = keychain;
    factory.emplace(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "flows", "", [] { return WindowHandle::terminal(); }, std::move(platform));
    for (int i = 0; i < accounts; ++i)
      blocked.push_back(factory->makeAPI(GoogleDriveAccountModel("blocked" + std::to_string(i))));
  }

  /// An account whose session has been read.
  std::shared_ptr<GoogleDriveAPIType> openAccount() {
    auto drive = factory->makeAPI(signIn(*factory));
    get(drive->getAbout());
    return drive;
  }
  /// Whether a page arrives, before the keychain is opened.
  static bool listsMeanwhile(GoogleDriveAPIType& drive) {
    auto page = toFuture(drive.getFilesPage(std::nullopt));
    const auto state = page.wait_for(std::chrono::seconds(60));
    return state == std::future_status::ready && page.get().isSuccess();
  }

  std::shared_ptr<BlockedKeychain> keychain;
  std::optional<CorvaneFactory> factory;
  std::vector<std::shared_ptr<GoogleDriveAPIType>> blocked;
};

TEST_F(BlockedKeychainTest, SixtyFourBlockedAccountsLetAnotherList) {
  const auto drive = openAccount();
  const int before = keychain->readers();
  std::vector<std::future<Result<About, AnyError>>> ends;
  for (const auto& each : blocked) ends.push_back(toFuture(each->getAbout()));
  keychain->waitForReaders(before + accounts);
  EXPECT_TRUE(listsMeanwhile(*drive));
  keychain->open();
  for (auto& end : ends) EXPECT_FALSE(end.get().isSuccess()) << "nobody is signed in there";
}

TEST_F(BlockedKeychainTest, SixHundredOperationsOfOneAccountLetAnotherList) {
  constexpr int operations = 600;  // more than there can be workers
  const auto drive = openAccount();
  const int before = keychain->readers();
  const auto one = blocked.front();
  std::latch ended(operations);
  std::atomic<int> failures{0};
  std::vector<AnyCancellable> subscriptions;
  const auto subscribe = [&]<class Value>(const AnyPublisher<Value>& operation) {
    subscriptions.push_back(operation.sink(
        [&](const Completion<AnyError>& completion) {
          if (completion.isFailure()) ++failures;
          ended.count_down();
        },
        [](const Value&) {}));
  };
  for (int i = 0; i < operations / 4; ++i) {
    subscribe(one->getAbout());
    subscribe(one->getFilesPage(std::nullopt));
    subscribe(one->deleteFile("f"));
    subscribe(one->moveToTrash("f"));
  }
  keychain->waitForReaders(before + 1);
  EXPECT_TRUE(listsMeanwhile(*drive));
  EXPECT_EQ(keychain->readers(), before + 1) << "the others wait for their turn";
  EXPECT_LE(threadsNamed({"corvane-worker"}), firstWorkers() + 4);
  keychain->open();
  ended.wait();
  EXPECT_EQ(failures, operations) << "nobody is signed in there";
  EXPECT_EQ(keychain->readers(), before + operations) << "each asks anew after a failure";
}

TEST_F(BlockedKeychainTest, IsNotWaitedForByACancelNorByTheEndOfTheObject) {
  const int before = keychain->readers();
  std::atomic<int> calls{0};
  std::vector<AnyCancellable> subscriptions;
  for (const auto& each : blocked)
    subscriptions.push_back(
        each->getAbout().sink([&](const auto&) { ++calls; }, [&](const About&) { ++calls; }));
  keychain->waitForReaders(before + accounts);
  for (const auto& each : subscriptions) each.cancel();  // returns although every reader still waits
  blocked.clear();
  keychain->open();
  factory.reset();
  impatient.reset();
  keychain.reset();
  EXPECT_EQ(calls, 0);
}

TEST_F(LifeTest, ProviderAndFactoryMayGoInTheCallbackOfASignIn) {
  std::unique_ptr<CorvaneFactory> factory(new CorvaneFactory(makeFactory()));
  impatient.reset();
  auto provider = factory->makeAuthorizationProvider(nullptr);
  std::promise<std::string> done;
  auto publisher = std::optional(provider->signIn());
  const auto subscription = publisher->sink([](const auto&) {},
                                            [&](const GoogleDriveAccountModel& account) {
                                              provider.reset();
                                              publisher.reset();
                                              factory.reset();
                                              done.set_value(account.userEmail());
                                            });
  EXPECT_EQ(done.get_future().get(), "ada@example.com");
}

TEST_F(LifeTest, ProvidersMayGoInTheCallbacksOfAnAccountReadAndOfASignOut) {
  std::unique_ptr<CorvaneFactory> factory(new CorvaneFactory(makeFactory()));
  const auto account = signIn(*factory);
  impatient.reset();

  auto accounts = factory->makeAccountProvider();
  std::promise<std::size_t> read;
  const auto reading = accounts->getAccounts().sink([](const auto&) {},
                                                    [&](const auto& models) {
                                                      accounts.reset();
                                                      read.set_value(models.size());
                                                    });
  EXPECT_EQ(read.get_future().get(), 1u);

  auto provider = factory->makeAuthorizationProvider(nullptr);
  std::promise<bool> removed;
  const auto removing = provider->signOut(account).sink(
      [&](const auto& completion) {
        provider.reset();
        factory.reset();
        removed.set_value(completion.isFinished());
      },
      [](const Void&) {});
  EXPECT_TRUE(removed.get_future().get());
}

TEST_F(LifeTest, CancelledWithinItsOwnValueCallbackAnOperationDoesNotComplete) {
  auto factory = makeFactory();
  const auto drive = factory.makeAPI(signIn(factory));
  AnyCancellable subscription;
  std::atomic<int> completions{0};
  std::latch subscribed(1);
  std::promise<void> valued;
  subscription = drive->getAbout().sink([&](const auto&) { ++completions; },
                                        [&](const About&) {
                                          subscribed.wait();
                                          subscription.cancel();
                                          valued.set_value();
                                        });
  subscribed.count_down();
  valued.get_future().wait();
  get(drive->getAbout());
  EXPECT_EQ(completions, 0);
}

}  // namespace
}  // namespace corvane::test
