#include <CorvanePlatform/KeychainStoreError.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ErrorMatchers.hpp"
#include "support/Recorder.hpp"
#include "unit/core/DriveRig.hpp"

using namespace corvane;
using namespace corvane::test;
using testing::ElementsAre;

namespace {

class WritesTest : public testing::Test, protected DriveRig {};

bool isEmptyBut(const GTLRDrive_File& file) {
  return !file.identifier && !file.mimeType && !file.name && !file.size && !file.shared &&
         !file.createdTime && !file.modifiedTime && !file.parents && !file.iconLink && !file.webViewLink;
}

}  // namespace

TEST_F(WritesTest, MoveToTrashSendsOnlyTrashedAndAsksForSharedDriveSupport) {
  const Recorder moved(api->moveToTrash("id-1"));
  run();
  const auto query = service().query<GTLRDriveQuery_FilesUpdate>(0);
  EXPECT_EQ(query.fileId, "id-1");
  EXPECT_EQ(query.object.trashed, true);
  EXPECT_TRUE(isEmptyBut(query.object));
  EXPECT_FALSE(query.uploadParameters);
  EXPECT_EQ(query.supportsAllDrives, true);
}

TEST_F(WritesTest, DeleteFileSendsNothingButTheIdentifier) {
  const Recorder deleted(api->deleteFile("id-1"));
  run();
  EXPECT_EQ(service().query<GTLRDriveQuery_FilesDelete>(0).fileId, "id-1");
}

TEST_F(WritesTest, DeliverTheEmptyValueThenFinishWhateverTheResponseIs) {
  const Recorder deleted(api->deleteFile("id-1"));
  const Recorder moved(api->moveToTrash("id-2"));
  run();
  answer(0, std::monostate{});
  answer(1, fileObject("id-2"));
  EXPECT_THAT(deleted.events(), ElementsAre("value", "finished"));
  EXPECT_THAT(moved.events(), ElementsAre("value", "finished"));
}

TEST_F(WritesTest, AreNeitherRetriedNorWrapped) {
  const Recorder deleted(api->deleteFile("id-1"));
  const Recorder moved(api->moveToTrash("id-2"));
  run();
  fail(0, driveError(503, "Busy."));
  fail(1, networkError(-1001, "Timed out."));
  EXPECT_THAT(*deleted.error(), IsError("com.google.GTLRErrorObjectDomain", 503, "Busy."));
  EXPECT_THAT(*moved.error(), IsError("NSURLErrorDomain", -1001, "Timed out."));
  EXPECT_TRUE(deleted.error()->holds<NSError>());
  queue().advance(std::chrono::minutes(1));
  EXPECT_TRUE(queue().delays().empty());
  EXPECT_EQ(service().requestCount(), 2u);
}

TEST_F(WritesTest, FailWithTheKeychainsErrorWhenTheServiceCannotBeBuilt) {
  removeSession();
  const Recorder deleted(api->deleteFile("id-1"));
  const Recorder moved(api->moveToTrash("id-1"));
  run();
  EXPECT_TRUE(deleted.error()->holds<KeychainStoreError>());
  EXPECT_TRUE(moved.error()->holds<KeychainStoreError>());
}

TEST_F(WritesTest, LogNothingWhateverHappens) {
  const Recorder good(api->deleteFile("id-1"));
  const Recorder bad(api->moveToTrash("id-1"));
  run();
  answer(0, std::monostate{});
  fail(1, driveError(403));
  removeSession();
  const auto unsigned_ = factory.makeAPI(GoogleDriveAccountModel("ada@example.com"));
  const Recorder unbuilt(unsigned_->deleteFile("id-1"));
  run();
  EXPECT_TRUE(unbuilt.ended());
  EXPECT_TRUE(log().empty());
}

TEST_F(WritesTest, HandleTheAnswerOnTheSharedQueueOnly) {
  const Recorder deleted(api->deleteFile("id-1"));
  run();
  service().answer(0, std::monostate{});
  EXPECT_TRUE(deleted.events().empty());
  run();
  EXPECT_TRUE(deleted.ended());
}
