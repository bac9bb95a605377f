#include "flows/FlowFixture.hpp"

#include <atomic>
#include <functional>

namespace corvane::test {
namespace {

class ReentryTest : public FlowTest {};

/// A log that calls the API from within each line.
class ReentrantLog final : public Lumark {
 public:
  void logError(const LogCategory&, const Message& message, int, bool, std::string_view) override {
    write(message);
  }
  void logWarning(const LogCategory&, const Message& message, int, bool, std::string_view) override {
    write(message);
  }
  void logExtended(const LogCategory&, const Message& message, int, bool, std::string_view) override {
    write(message);
  }

  std::function<void()> onLine;
  std::atomic<int> lines{0};

 private:
  void write(const Message& message) {
    message();
    ++lines;
    // What it calls logs too, on this thread or another.
    if (onLine && calls_.fetch_add(1) < mostCalls) onLine();
  }

  static constexpr int mostCalls = 50;
  std::atomic<int> calls_{0};
};

TEST_F(ReentryTest, ALogMayUseTheApiFromWithinALine) {
  auto platform = makePlatform();
  const auto reentrant = std::make_shared<ReentrantLog>();
  platform.log = reentrant;
  CorvaneFactory factory(
      dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"), "flows",
      "", [] { return WindowHandle::terminal(); }, std::move(platform));
  const auto drive = factory.makeAPI(signIn(factory));
  std::atomic<int> answers{0};
  reentrant->onLine = [&] {
    drive->getAbout().sink([&](const auto&) { ++answers; }, [](const About&) {}).release();
    drive->getFilesPage("no token").sink([](const auto&) {}, [](const FilesPage&) {}).cancel();
    factory.makeAccountProvider()->getAccounts().sink([](const auto&) {}, [](const auto&) {}).cancel();
  };
  EXPECT_EQ(everyFile(*drive).size(), adasFiles);
  while (answers < 50) get(drive->getAbout());
  EXPECT_GT(reentrant->lines, 100);
}

/// A tracker that signs in again from within what it is told, once.
class ReentrantTracker final : public GoogleDriveAuthorizationNFRTrackerType {
 public:
  void trackSignInStarted() override { ++started; }
  void trackSignInFinished(const Result<Void, GoogleDriveAuthorizationProviderError>&) override {
    if (++finished == 1) again();
  }

  std::function<void()> again;
  std::atomic<int> started{0};
  std::atomic<int> finished{0};
};

TEST_F(ReentryTest, ATrackerMaySignInAgainFromWithinWhatItIsTold) {
  auto factory = makeFactory();
  const auto tracker = std::make_shared<ReentrantTracker>();
  const auto provider = factory.makeAuthorizationProvider(tracker);
  std::promise<bool> second;
  AnyCancellable subscription;
  tracker->again = [&] {
    subscription = provider->signIn().sink(
        [&](const auto& completion) { second.set_value(completion.isFinished()); }, [](const auto&) {});
  };
  EXPECT_EQ(get(provider->signIn()).userEmail(), "ada@example.com");
  EXPECT_TRUE(second.get_future().get());
  EXPECT_EQ(tracker->started, 2);
  EXPECT_EQ(tracker->finished, 2);
}

}  // namespace
}  // namespace corvane::test
