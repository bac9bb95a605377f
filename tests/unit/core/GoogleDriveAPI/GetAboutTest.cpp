#include <Corvane/GoogleDriveAPI.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "support/CountedError.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;

namespace {

constexpr auto started = "extended: \u2601\uFE0F Google Drive API: about.get request started";
constexpr auto unconvertible =
    "error: \u2601\uFE0F Google Drive API: about.get returned an unconvertible or empty result";

class GetAboutTest : public testing::Test, protected DriveRig {};

}  // namespace

TEST_F(GetAboutTest, RunsNothingUntilSomebodySubscribes) {
  const auto publisher = api->getAbout();
  run();
  EXPECT_TRUE(fake.driveServices.empty());
  EXPECT_TRUE(fake.keychain->calls().empty());
}

TEST_F(GetAboutTest, StartsOnTheSharedQueueAndNotOnTheSubscribingThread) {
  const Recorder about(api->getAbout());
  EXPECT_TRUE(fake.driveServices.empty());
  EXPECT_EQ(queue().pendingBlocks(), 1u);
  run();
  EXPECT_EQ(service().requestCount(), 1u);
}

TEST_F(GetAboutTest, AsksForExactlyTheFieldsOfTheRecord) {
  const Recorder about(api->getAbout());
  run();
  EXPECT_EQ(service().query<GTLRDriveQuery_AboutGet>(0).fields,
            "storageQuota(limit,usage,usageInDrive),appInstalled,maxUploadSize,"
            "user(displayName,emailAddress,photoLink)");
}

TEST_F(GetAboutTest, DeliversTheRecordThenFinishesAndLogsBothSteps) {
  const Recorder about(api->getAbout());
  run();
  EXPECT_THAT(log(), ElementsAre(started));
  answer(0, aboutObject());
  EXPECT_THAT(about.events(), ElementsAre("value", "finished"));
  EXPECT_EQ(*about.value(), About(StorageQuota(100, 30, 20), true, 5'242'880'000,
                                  User("Ada", "ada@example.com", "https://photo.example/ada")));
  EXPECT_THAT(log(), ElementsAre(started,
                                 "extended: \u2601\uFE0F Google Drive API: about.get succeeded "
                                 "(limit=100, usageInDrive=20)"));
}

TEST_F(GetAboutTest, HandlesTheAnswerOnTheSharedQueueOnly) {
  const Recorder about(api->getAbout());
  run();
  service().answer(0, aboutObject());
  EXPECT_TRUE(about.events().empty());
  EXPECT_EQ(fake.log->lines().size(), 1u);
  EXPECT_EQ(queue().pendingBlocks(), 1u);
  run();
  EXPECT_TRUE(about.ended());
}

TEST_F(GetAboutTest, LogsUnderItsCategoryAsynchronouslyWithItsSourceAndNoContext) {
  const Recorder about(api->getAbout());
  run();
  fail(0, driveError(403));
  ASSERT_EQ(fake.log->lines().size(), 2u);
  for (const auto& line : fake.log->lines()) {
    EXPECT_EQ(line.category, "GoogleDriveAPI");
    EXPECT_EQ(line.context, 0);
    EXPECT_TRUE(line.asynchronous);
    EXPECT_EQ(line.file, "Corvane/GoogleDriveAPI");
  }
}

TEST_F(GetAboutTest, FailsWithTheRequestsErrorUnwrappedAfterOneErrorLine) {
  const Recorder about(api->getAbout());
  run();
  fail(0, driveError(403, "Forbidden."));
  EXPECT_THAT(about.events(), ElementsAre("failed"));
  EXPECT_THAT(*about.error(), IsError("com.google.GTLRErrorObjectDomain", 403, "Forbidden."));
  EXPECT_TRUE(about.error()->holds<NSError>());
  EXPECT_THAT(log(), ElementsAre(started,
                                 "error: \u2601\uFE0F Google Drive API: about.get failed "
                                 "(domain=com.google.GTLRErrorObjectDomain, code=403): Forbidden."));
}

TEST_F(GetAboutTest, WithoutASessionFailsWithTheKeychainsErrorUnwrappedAfterOneErrorLine) {
  removeSession();
  const Recorder about(api->getAbout());
  run();
  EXPECT_TRUE(about.error()->holds<KeychainStoreError>());
  EXPECT_THAT(log(),
              ElementsAre("error: \u2601\uFE0F Google Drive API: failed to build Drive service for "
                          "about.get: The operation couldn\u2019t be completed. "
                          "(GTMAppAuth.KeychainStore.Error error 2.)"));
  EXPECT_EQ(queue().pendingTimers(), 0u);
}

TEST_F(GetAboutTest, ARetriedAttemptLogsEachStepAgain) {
  const Recorder about(api->getAbout());
  run();
  fail(0, driveError(503, "Busy."));
  queue().advance(std::chrono::seconds(1));
  answer(1, aboutObject());
  EXPECT_THAT(log(), ElementsAre(started,
                                 "error: \u2601\uFE0F Google Drive API: about.get failed "
                                 "(domain=com.google.GTLRErrorObjectDomain, code=503): Busy.",
                                 started,
                                 "extended: \u2601\uFE0F Google Drive API: about.get succeeded "
                                 "(limit=100, usageInDrive=20)"));
  EXPECT_THAT(about.events(), ElementsAre("value", "finished"));
}

TEST_F(GetAboutTest, AnswerThatLacksAnyPartFailsWithConvertAboutAndOneErrorLine) {
  const std::vector<std::function<void(GTLRDrive_About&)>> omissions{
      [](auto& about) { about.user.reset(); },
      [](auto& about) { about.user->displayName.reset(); },
      [](auto& about) { about.user->emailAddress.reset(); },
      [](auto& about) { about.user->photoLink.reset(); },
      [](auto& about) { about.storageQuota.reset(); },
      [](auto& about) { about.storageQuota->limit.reset(); },
      [](auto& about) { about.storageQuota->usage.reset(); },
      [](auto& about) { about.storageQuota->usageInDrive.reset(); },
      [](auto& about) { about.appInstalled.reset(); },
      [](auto& about) { about.maxUploadSize.reset(); },
  };
  for (std::size_t i = 0; i < omissions.size(); ++i) {
    DriveRig rig;
    auto object = aboutObject();
    omissions[i](object);
    const Recorder about(rig.api->getAbout());
    rig.run();
    rig.answer(0, object);
    ASSERT_TRUE(about.error()) << "omission " << i + 1;
    EXPECT_EQ(about.error()->as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertAbout);
    EXPECT_THAT(about.events(), ElementsAre("failed"));
    EXPECT_THAT(rig.log(), ElementsAre(started, unconvertible));
    EXPECT_EQ(rig.queue().pendingTimers(), 0u);
  }
}

TEST_F(GetAboutTest, AboutWithoutAPhotoLinkOrWithoutAQuotaLimitFailsWithConvertAbout) {
  auto noPhoto = aboutObject();
  noPhoto.user->photoLink.reset();
  auto noLimit = aboutObject();
  noLimit.storageQuota->limit.reset();
  const Recorder first(api->getAbout());
  const Recorder second(api->getAbout());
  run();
  answer(0, noPhoto);
  answer(1, noLimit);
  EXPECT_EQ(first.error()->as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertAbout);
  EXPECT_EQ(second.error()->as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertAbout);
}

TEST_F(GetAboutTest, NoObjectOrOneOfAnotherKindFailsWithConvertAbout) {
  const Recorder empty(api->getAbout());
  const Recorder other(api->getAbout());
  run();
  answer(0, std::monostate{});
  answer(1, fileList({}));
  EXPECT_EQ(empty.error()->as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertAbout);
  EXPECT_EQ(other.error()->as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertAbout);
  EXPECT_THAT(log(), ElementsAre(started, started, unconvertible, unconvertible));
}

TEST_F(GetAboutTest, MessagesAreNotComputedWhenTheLevelIsOff) {
  const auto descriptions = [this](bool logged) {
    FakePlatform platform;
    if (!logged) platform.log->switchOff();
    GoogleDriveAPI failing(
        GoogleDriveAccountModel("ada@example.com"), nullptr, platform.platform(),
        []() -> std::shared_ptr<GTLRDriveService> { throw AnyError(CountedError{}); });
    const int before = CountedError::descriptions();
    const Recorder about(failing.getAbout());
    const Recorder page(failing.getFilesPage(std::nullopt));
    platform.userInitiatedQueue->runAll();
    EXPECT_EQ(platform.log->lines().size(), logged ? 2u : 0u);
    return CountedError::descriptions() - before;
  };
  // The retry policy looks at each error, too.
  EXPECT_EQ(descriptions(false), descriptions(true) - 2);
}
