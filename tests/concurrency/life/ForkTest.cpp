// A host that forks without exec, as daemon(3) does.
#include "flows/FlowFixture.hpp"
#include "support/ForkedChild.hpp"
#include "support/Race.hpp"

namespace corvane::test {
namespace {

class ForkTest : public FlowTest {
 protected:
  /// Whether the operation ends with the error that tells of the fork.
  template <class Operation>
  static bool tellsOfFork(Operation operation) {
    const auto error = failureOf(operation);
    const bool tells =
        error && error->localizedDescription().find("was forked") != std::string::npos;
    if (!tells) std::fprintf(stderr, "%s\n", error ? error->what() : "no error");
    return tells;
  }
};

TEST_F(ForkTest, InTheChildEveryOperationEndsWithAnErrorThatSaysSo) {
  auto factory = makeFactory();
  const auto account = signIn(factory);
  const auto drive = factory.makeAPI(account);
  const auto accounts = factory.makeAccountProvider();
  const auto provider = factory.makeAuthorizationProvider(nullptr);
  get(drive->getAbout());
  EXPECT_TRUE(holdsInForkedChild([&] {
    return tellsOfFork([&] { get(drive->getAbout()); }) &&
           tellsOfFork([&] { get(drive->getFilesPage(std::nullopt)); }) &&
           tellsOfFork([&] { get(drive->deleteFile("f")); }) &&
           tellsOfFork([&] { get(drive->moveToTrash("f")); }) &&
           tellsOfFork([&] { get(accounts->getAccounts()); }) &&
           tellsOfFork([&] { get(provider->signOut(account)); });
  }));
  EXPECT_EQ(get(accounts->getAccounts()).size(), 1u) << "the parent's session is untouched";
}

TEST_F(ForkTest, InTheChildEverythingMayBeDropped) {
  std::unique_ptr<CorvaneFactory> factory(new CorvaneFactory(makeFactory()));
  auto drive = factory->makeAPI(signIn(*factory));
  auto publisher = std::optional(drive->getAbout());
  get(*publisher);
  EXPECT_TRUE(holdsInForkedChild([&] {
    publisher.reset();
    drive.reset();
    factory.reset();
    impatient.reset();
    return true;
  }));
}

TEST_F(ForkTest, InTheChildANewPlatformWorks) {
  if (raceRoundsDividedBy != 1) GTEST_SKIP() << "ThreadSanitizer starts no threads after fork";
  auto factory = makeFactory();
  const auto account = signIn(factory);
  get(factory.makeAPI(account)->getAbout());
  EXPECT_TRUE(holdsInForkedChild([&] {
    auto fresh = makeFactory();
    const auto drive = fresh.makeAPI(account);
    return everyFile(*drive).size() == adasFiles;
  }));
}

TEST_F(ForkTest, InTheChildTheSystemsPlatformIsMadeAnew) {
  if (raceRoundsDividedBy != 1) GTEST_SKIP() << "ThreadSanitizer starts no threads after fork";
  const Platform before = systemPlatform();
  const auto runs = [](const Platform& platform) {
    auto ran = std::make_shared<std::promise<void>>();
    platform.taskPool->async([ran] { ran->set_value(); });
    ran->get_future().wait();
    return true;
  };
  ASSERT_TRUE(runs(before));
  EXPECT_TRUE(holdsInForkedChild([&] { return runs(systemPlatform()); }));
}

}  // namespace
}  // namespace corvane::test
