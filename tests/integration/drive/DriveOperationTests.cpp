#include "DriveFixture.hpp"

#include <set>
#include <thread>

namespace corvane::test {
namespace {

using testing::HasSubstr;

class DriveOperation : public DriveFixture {};

TEST_F(DriveOperation, AboutTellsTheUserAndTheQuota) {
  const auto outcome = run(aboutQuery());
  ASSERT_TRUE(std::holds_alternative<GTLRDrive_About>(outcome.object));
  const auto& about = std::get<GTLRDrive_About>(outcome.object);
  ASSERT_TRUE(about.user && about.storageQuota);
  EXPECT_EQ(about.user->emailAddress, ada);
  EXPECT_TRUE(about.user->displayName && about.user->photoLink);
  EXPECT_TRUE(about.storageQuota->limit && about.storageQuota->usage && about.storageQuota->usageInDrive);
  EXPECT_TRUE(about.appInstalled && about.maxUploadSize);
}

TEST_F(DriveOperation, AWholeListingBringsEachFileOnce) {
  std::set<std::string> identifiers;
  std::size_t count = 0;
  std::optional<std::string> token;
  do {
    const auto outcome = run(listQuery(token));
    ASSERT_TRUE(std::holds_alternative<GTLRDrive_FileList>(outcome.object))
        << (outcome.error ? outcome.error->localizedDescription() : "no list");
    const auto& list = std::get<GTLRDrive_FileList>(outcome.object);
    ASSERT_TRUE(list.files);
    for (const auto& file : filesOf(list)) {
      ++count;
      EXPECT_TRUE(file.identifier && file.name && file.mimeType && file.modifiedTime);
      identifiers.insert(file.identifier.value_or(""));
    }
    token = list.nextPageToken;
  } while (token);
  EXPECT_EQ(count, 1203u);
  EXPECT_EQ(identifiers.size(), 1203u);
  EXPECT_EQ(google.journal().count("files.list"), 3u);
}

TEST_F(DriveOperation, TrashingMovesTheFileToTheTrash) {
  const auto before = google.fileCount(ada, true, true);
  const auto outcome = run(trashQuery(anyFileID()));
  EXPECT_FALSE(outcome.error);
  EXPECT_TRUE(std::holds_alternative<GTLRDrive_File>(outcome.object));
  EXPECT_EQ(google.fileCount(ada, true, true), before + 1);
  const auto entry = google.journal().entries("files.update").back();
  EXPECT_EQ(entry.body, R"({"trashed":true})");
  EXPECT_EQ(entry.header("Content-Type"), "application/json");
  EXPECT_THAT(entry.target, HasSubstr("supportsAllDrives=true"));
}

TEST_F(DriveOperation, DeletingRemovesTheFileForGood) {
  const auto identifier = anyFileID();
  const auto before = google.fileCount(ada);
  const auto outcome = run(deleteQuery(identifier));
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.object.index(), 0u);
  EXPECT_EQ(google.fileCount(ada), before - 1);
  EXPECT_THAT(run(deleteQuery(identifier)), FailedWith(GTLRErrorObjectDomain, 404));
}

TEST_F(DriveOperation, AFileIdThatLooksLikeAPathIsOnlyAFileThatIsNotThere) {
  for (const auto* id : {"..", ".", "../about", "a/b", "a?b=c", "no such file", "%2e%2e"}) {
    const auto before = google.fileCount(ada);
    const auto outcome = run(deleteQuery(id));
    ASSERT_TRUE(outcome.error) << id;
    EXPECT_EQ(outcome.error->code(), 404) << id << ": " << outcome.error->localizedDescription();
    EXPECT_EQ(google.fileCount(ada), before);
    EXPECT_THAT(google.journal().entries().back().target, testing::StartsWith("/drive/v3/files/")) << id;
  }
}

TEST_F(DriveOperation, AnExpiredTokenIsReplacedOnceForReadsAndWritesAlike) {
  const auto identifier = anyFileID();
  int refreshes = 0;
  for (const auto& query : {aboutQuery(), listQuery(), trashQuery(identifier), deleteQuery(identifier)}) {
    google.expireTokens();
    google.journal().clear();
    const auto outcome = run(query);
    EXPECT_FALSE(outcome.error) << outcome.error->localizedDescription();
    EXPECT_EQ(session->refreshes(), ++refreshes);
    EXPECT_EQ(google.journal().count(), 2u);
  }
}

TEST_F(DriveOperation, ManyAtOnceShareOneServiceFromManyThreads) {
  constexpr int threadCount = 4;
  constexpr int each = 25;
  std::vector<std::thread> threads;
  std::atomic<int> pages{0};
  for (int t = 0; t < threadCount; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < each; ++i) {
        const auto delivery = std::make_shared<Delivery>();
        const auto running = service->executeQuery(listQuery({}, 100), delivery->handler(delivery));
        const auto outcome = delivery->outcome();
        if (outcome && std::holds_alternative<GTLRDrive_FileList>(outcome->object)) ++pages;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(pages, threadCount * each);
}

}  // namespace
}  // namespace corvane::test
