#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"
#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"
#include "unit/core/SignInRig.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

const GoogleDriveAccountModel ada("ada@example.com");

/// Takes blocks until it is told that there are no more threads.
class FullQueue final : public Queue {
 public:
  void async(Block block) override {
    requireThread();
    queue.async(std::move(block));
  }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    requireThread();
    return queue.asyncAfter(delay, std::move(block));
  }

  bool isFull = false;
  ManualQueue queue;

 private:
  void requireThread() const {
    if (isFull) throw std::system_error(EAGAIN, std::generic_category());
  }
};

bool isNoThread(const std::optional<AnyError>& error) {
  return error && error->domain() == "NSPOSIXErrorDomain" && error->code() == EAGAIN;
}

class OperationsWithoutThreads : public testing::Test, protected DriveRig {
 protected:
  OperationsWithoutThreads() {
    pieces.userInitiatedQueue = full;
    pieces.taskPool = full;
  }

  CorvaneFactory makeFactory() {
    return {dataFromText(R"({"client_id": "id", "clientSecret": "secret"})"), "service", "group",
            [] { return WindowHandle::terminal(); }, pieces};
  }

  std::shared_ptr<FullQueue> full = std::make_shared<FullQueue>();
  Platform pieces = fake.platform();
};

}  // namespace

TEST_F(OperationsWithoutThreads, EachFailOnceAtTheirStart) {
  full->isFull = true;
  auto strapped = makeFactory();
  const auto drive = strapped.makeAPI(ada);
  const Recorder about(drive->getAbout());
  const Recorder deleted(drive->deleteFile("id"));
  const Recorder moved(drive->moveToTrash("id"));
  const Recorder listed(strapped.makeAccountProvider()->getAccounts());
  const Recorder out(strapped.makeAuthorizationProvider(nullptr)->signOut(ada));
  const Recorder page(drive->getFilesPage(std::nullopt));

  for (const auto* error :
       {&about.error(), &deleted.error(), &moved.error(), &listed.error(), &out.error()})
    EXPECT_TRUE(isNoThread(*error));
  for (const auto* events : {&about.events(), &deleted.events(), &moved.events(), &listed.events(),
                             &out.events(), &page.events()})
    EXPECT_EQ(*events, std::vector<std::string>{"failed"});
  const auto request = page.error()->as<GoogleDriveAPIRequestError>();
  ASSERT_TRUE(request);
  EXPECT_TRUE(isNoThread(request->underlying));
  EXPECT_EQ(fake.keychain->items().size(), 1u) << "nothing was removed";
}

TEST_F(OperationsWithoutThreads, AnAnswerThatTheQueueCannotTakeIsOneError) {
  auto strapped = makeFactory();
  const auto drive = strapped.makeAPI(ada);
  const Recorder about(drive->getAbout());
  full->queue.runAll();
  full->isFull = true;
  service().answer(0, aboutObject());
  EXPECT_EQ(about.events(), std::vector<std::string>{"failed"});
  EXPECT_TRUE(isNoThread(about.error()));
}

TEST_F(OperationsWithoutThreads, ASignInThatCannotStartFailsWithTheCauseAndIsLogged) {
  pieces.makeSignInService = [](const auto&, const auto&) -> std::shared_ptr<QVTessoraService> {
    throw std::system_error(EAGAIN, std::generic_category());
  };
  auto strapped = makeFactory();
  const auto tracker = std::make_shared<FakeTracker>();
  const Recorder account(strapped.makeAuthorizationProvider(tracker)->signIn());
  ASSERT_TRUE(account.error());
  EXPECT_EQ(account.error()->kind(), GoogleDriveAuthorizationProviderError::Case::signInFailed);
  EXPECT_TRUE(isNoThread(account.error()->underlying()));
  ASSERT_EQ(fake.log->messages().size(), 1u);
  EXPECT_TRUE(fake.log->messages().front().starts_with(
      "error: Google Drive sign-in failed [NSPOSIXErrorDomain 11]: "));
}

TEST_F(OperationsWithoutThreads, AServiceThatCannotBeBuiltIsOneErrorAndTheNextOneWorks) {
  bool failing = true;
  pieces.makeDriveService = [&]() -> std::shared_ptr<GTLRDriveService> {
    if (failing) throw std::system_error(EMFILE, std::generic_category());
    return fake.platform().makeDriveService();
  };
  auto strapped = makeFactory();
  const auto drive = strapped.makeAPI(ada);
  const Recorder about(drive->getAbout());
  full->queue.runAll();
  EXPECT_EQ(about.events(), std::vector<std::string>{"failed"});
  EXPECT_EQ(about.error()->code(), EMFILE);
  EXPECT_EQ(fake.log->lines().size(), 1u) << "the service could not be built";
  failing = false;
  const Recorder next(drive->getAbout());
  full->queue.runAll();
  EXPECT_EQ(service().requestCount(), 1u);
}
