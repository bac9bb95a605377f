#include <Corvane/GoogleDriveAPIError.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "GoogleDriveAPI/GoogleDriveAPIRequestError.hpp"
#include "support/ErrorMatchers.hpp"
#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;

namespace {

const std::string cloud = "\u2601\uFE0F Google Drive API: ";

class GetFilesPageTest : public testing::Test, protected DriveRig {
 protected:
  std::string lastLine() const { return log().back(); }
};

}  // namespace

TEST_F(GetFilesPageTest, TheFirstPageIsLoggedAsInitialAndAskedForWithoutAToken) {
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  EXPECT_THAT(log(), ElementsAre("extended: " + cloud + "files.list request started (page: initial)"));
  EXPECT_EQ(service().query<GTLRDriveQuery_FilesList>(0).pageToken, std::nullopt);
}

TEST_F(GetFilesPageTest, APageWithATokenEvenAnEmptyOneIsLoggedAsNextAndAskedForWithIt) {
  const Recorder page(api->getFilesPage("token"));
  const Recorder empty(api->getFilesPage(""));
  run();
  const auto next = "extended: " + cloud + "files.list request started (page: next)";
  EXPECT_THAT(log(), ElementsAre(next, next));
  EXPECT_EQ(service().query<GTLRDriveQuery_FilesList>(0).pageToken, "token");
  EXPECT_EQ(service().query<GTLRDriveQuery_FilesList>(1).pageToken, "");
}

TEST_F(GetFilesPageTest, AsksForFiveHundredOwnedFilesOutsideTheTrash) {
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  const auto query = service().query<GTLRDriveQuery_FilesList>(0);
  EXPECT_EQ(query.fields,
            "files(id,mimeType,name,size,shared,trashed,createdTime,modifiedTime,parents,iconLink,"
            "webViewLink),nextPageToken");
  EXPECT_EQ(query.q, "'me' in owners and trashed = false");
  EXPECT_EQ(query.pageSize, 500);
  EXPECT_EQ(query.corpora, "user");
}

TEST_F(GetFilesPageTest, ThreeOfFiveHundredWithoutCreatedTimeAreDroppedAndTheRestKeepTheirOrder) {
  std::vector<GTLRDrive_File> objects;
  std::vector<std::string> expected;
  for (int i = 0; i < 500; ++i) {
    objects.push_back(fileObject(std::to_string(i)));
    if (i == 0 || i == 250 || i == 499) {
      objects.back().createdTime.reset();
    } else {
      expected.push_back(std::to_string(i));
    }
  }
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  answer(0, fileList(std::move(objects), "more"));
  ASSERT_THAT(page.events(), ElementsAre("value", "finished"));
  std::vector<std::string> received;
  for (const auto& file : page.value()->files()) received.push_back(file.id);
  EXPECT_EQ(received.size(), 497u);
  EXPECT_EQ(received, expected);
  EXPECT_EQ(page.value()->nextPageToken(), "more");
  EXPECT_EQ(lastLine(), "extended: " + cloud +
                            "files.list page received (page: initial, raw=500, converted=497, "
                            "hasNextPage=true)");
}

TEST_F(GetFilesPageTest, NoFilesAndNoTokenMakeAnEmptyLastPage) {
  const Recorder page(api->getFilesPage("t"));
  run();
  answer(0, fileList({}));
  ASSERT_THAT(page.events(), ElementsAre("value", "finished"));
  EXPECT_TRUE(page.value()->files().empty());
  EXPECT_EQ(page.value()->nextPageToken(), std::nullopt);
  EXPECT_EQ(lastLine(), "extended: " + cloud +
                            "files.list page received (page: next, raw=0, converted=0, hasNextPage=false)");
}

TEST_F(GetFilesPageTest, AnAnswerWithoutFilesFailsWithConvertFilesListUnwrapped) {
  const Recorder missing(api->getFilesPage(std::nullopt));
  const Recorder empty(api->getFilesPage("t"));
  const Recorder other(api->getFilesPage("t"));
  run();
  answer(0, GTLRDrive_FileList{});
  EXPECT_EQ(lastLine(), "error: " + cloud + "files.list returned unexpected or empty result (page: initial)");
  answer(1, std::monostate{});
  EXPECT_EQ(lastLine(), "error: " + cloud + "files.list returned unexpected or empty result (page: next)");
  answer(2, aboutObject());
  for (const auto* page : {&missing, &empty, &other}) {
    EXPECT_THAT(page->events(), ElementsAre("failed"));
    EXPECT_TRUE(page->error()->holds<GoogleDriveAPIError>());
    EXPECT_EQ(page->error()->as<GoogleDriveAPIError>(), GoogleDriveAPIError::convertFilesList);
  }
  EXPECT_EQ(queue().pendingTimers(), 0u);
}

TEST_F(GetFilesPageTest, A503IsRetriedUpToTheCountWithGrowingDelaysAndOneWarningPerAttempt) {
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  for (std::size_t attempt = 0; attempt < 4; ++attempt) {
    fail(attempt, driveError(503, "Busy."));
    EXPECT_EQ(lastLine(), "warning: " + cloud +
                              "files.list attempt failed (page: initial, retryable=true, "
                              "domain=com.google.GTLRErrorObjectDomain, code=503): Busy.");
    EXPECT_FALSE(page.ended());
    queue().advance(std::chrono::seconds(8));
  }
  fail(4, driveError(503, "Busy."));
  EXPECT_THAT(page.events(), ElementsAre("failed"));
  EXPECT_EQ(service().requestCount(), 5u);
  const auto error = page.error()->as<GoogleDriveAPIRequestError>();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->underlying.code(), 503);
  EXPECT_EQ(log().size(), 10u) << "a start and a warning for each attempt, and nothing else";
  using std::chrono::seconds;
  EXPECT_THAT(queue().delays(), ElementsAre(seconds(1), seconds(2), seconds(4), seconds(8)));
}

TEST_F(GetFilesPageTest, LinesOfEveryLevelCarryCategoryContextFlagAndSource) {
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  fail(0, driveError(404));
  const Recorder unexpected(api->getFilesPage(std::nullopt));
  run();
  answer(1, std::monostate{});
  std::set<std::string> levels;
  for (const auto& line : fake.log->lines()) {
    levels.insert(line.level);
    EXPECT_EQ(line.category, "GoogleDriveAPI") << line.message;
    EXPECT_EQ(line.context, 0) << line.message;
    EXPECT_TRUE(line.asynchronous) << line.message;
    EXPECT_EQ(line.file, "Corvane/GoogleDriveAPI") << line.message;
  }
  EXPECT_THAT(levels, ElementsAre("error", "extended", "warning"));
}

TEST_F(GetFilesPageTest, A404IsNotRetriedAndArrivesNamingAccountAndPage) {
  const Recorder page(api->getFilesPage("token"));
  run();
  fail(0, driveError(404, "No such page."));
  EXPECT_EQ(lastLine(), "warning: " + cloud +
                            "files.list attempt failed (page: next, retryable=false, "
                            "domain=com.google.GTLRErrorObjectDomain, code=404): No such page.");
  EXPECT_THAT(page.events(), ElementsAre("failed"));
  const auto error = page.error()->as<GoogleDriveAPIRequestError>();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->accountEmail, "ada@example.com");
  EXPECT_EQ(error->pageToken, "token");
  EXPECT_THAT(error->underlying, IsError("com.google.GTLRErrorObjectDomain", 404, "No such page."));
  EXPECT_EQ(queue().pendingTimers(), 0u);
}

TEST_F(GetFilesPageTest, MissingSessionFailsThePageWithTheKeychainsErrorWrappedOnceLoggedAndUnretried) {
  removeSession();
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  EXPECT_THAT(log(),
              ElementsAre("error: " + cloud +
                          "failed to build Drive service (page: initial): The operation "
                          "couldn\u2019t be completed. (GTMAppAuth.KeychainStore.Error error 2.)"));
  const auto error = page.error()->as<GoogleDriveAPIRequestError>();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->pageToken, std::nullopt);
  EXPECT_EQ(error->underlying.as<KeychainStoreError>(), KeychainStoreError::passwordNotFound("service"));
  EXPECT_EQ(page.error()->as<KeychainStoreError>(), KeychainStoreError::passwordNotFound("service"))
      << "reached through the wrapper";
  EXPECT_EQ(queue().pendingTimers(), 0u);
  EXPECT_EQ(fake.keychain->calls().size(), 1u);
}

TEST_F(GetFilesPageTest, AMissingSessionOnAFurtherPageIsLoggedAsNext) {
  removeSession();
  const Recorder page(api->getFilesPage("t"));
  run();
  EXPECT_TRUE(lastLine().starts_with("error: " + cloud + "failed to build Drive service (page: next): "));
}

TEST_F(GetFilesPageTest, GoesOnPageByPage) {
  const Recorder first(api->getFilesPage(std::nullopt));
  run();
  answer(0, fileList({fileObject("a")}, "second"));
  const Recorder second(api->getFilesPage(first.value()->nextPageToken()));
  run();
  EXPECT_EQ(service().query<GTLRDriveQuery_FilesList>(1).pageToken, "second");
  answer(1, fileList({fileObject("b")}));
  EXPECT_EQ(second.value()->files().front().id, "b");
  EXPECT_EQ(second.value()->nextPageToken(), std::nullopt);
}

TEST_F(GetFilesPageTest, AnErrorThatMerelyStandsOnAConversionErrorIsWrappedLikeAnyOther) {
  const Recorder page(api->getFilesPage(std::nullopt));
  run();
  fail(0, NSError("D", 1, {{"NSUnderlyingError", AnyError(GoogleDriveAPIError::convertFilesList)}}));
  EXPECT_TRUE(page.error()->holds<GoogleDriveAPIRequestError>());
}
