#include "flows/FlowFixture.hpp"

#include <cstdlib>

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;

/// All of a host as one static object.
struct StaticHost : FlowTest {
  void TestBody() override {}

  /// Leaves a request, a retry delay, a sign-in and an account read under way.
  void begin() {
    auto platform = makePlatform();
    platform.userInitiatedQueue = platform.taskPool;  // delays last
    factory.emplace(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "flows", "", [] { return WindowHandle::terminal(); }, std::move(platform));
    provider = factory->makeAuthorizationProvider(nullptr);
    drive = factory->makeAPI(get(provider->signIn()));
    google.faults().add("about", Fault::held(std::make_shared<Gate>()));
    google.faults().add("files.list", Fault::error(503, "backendError"));
    google.faults().add("token", Fault::held(std::make_shared<Gate>()));
    const auto before = google.journal().count();
    hold(drive->getAbout());
    hold(drive->getFilesPage(std::nullopt));
    hold(provider->signIn());
    hold(factory->makeAccountProvider()->getAccounts());
    google.journal().waitForCount(before + 4);  // about, page, the sign-in's page and its token
  }

  template <class Value, class Failure>
  void hold(const AnyPublisher<Value, Failure>& publisher) {
    subscriptions.push_back(publisher.sink([](const auto&) {}, [](const auto&) {}));
  }

  std::optional<CorvaneFactory> factory;
  std::shared_ptr<GoogleDriveAuthorizationProviderType> provider;
  std::shared_ptr<GoogleDriveAPIType> drive;
  std::vector<AnyCancellable> subscriptions;
};

void exitWithWorkUnderWay() {
  static StaticHost host;
  host.begin();
  std::exit(0);
}

TEST(ExitOfAHost, WithWorkUnderWayInStaticObjectsIsClean) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(exitWithWorkUnderWay(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace corvane::test
