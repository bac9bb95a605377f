#include "DriveServiceFixture.hpp"

#include <RFC3339.hpp>
#include <drive/FileBody.hpp>

namespace corvane::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class DriveCall : public DriveServiceTest {};

TEST_F(DriveCall, AboutAsksForItsFields) {
  GTLRDriveQuery_AboutGet query;
  query.fields = "storageQuota(limit,usage),appInstalled";
  const auto delivery = execute(query);
  EXPECT_EQ(client->request(0).method, "GET");
  EXPECT_EQ(client->request(0).url,
            "https://www.googleapis.com/drive/v3/about?fields=storageQuota%28limit%2Cusage%29%2CappInstalled"
            "&prettyPrint=false");
  EXPECT_TRUE(client->request(0).body.empty());
  EXPECT_THAT(client->request(0).headers, IsEmpty());
}

TEST_F(DriveCall, AListingsParametersGoInTheOrderInWhichTheyWereSet) {
  GTLRDriveQuery_FilesList query;
  query.fields = "files(id),nextPageToken";
  query.q = "'me' in owners and trashed = false";
  query.pageToken = "~!!~a+b/c=&";
  query.pageSize = 500;
  query.corpora = "user";
  const auto delivery = execute(query);
  EXPECT_EQ(
      client->request(0).url,
      "https://www.googleapis.com/drive/v3/files?fields=files%28id%29%2CnextPageToken"
      "&q=%27me%27%20in%20owners%20and%20trashed%20%3D%20false&pageToken=~%21%21~a%2Bb%2Fc%3D%26&pageSize=500"
      "&corpora=user&prettyPrint=false");
}

TEST_F(DriveCall, NoPageTokenSendsNoneAndAnEmptyOneIsSentEmpty) {
  GTLRDriveQuery_FilesList query;
  const auto first = execute(query);
  EXPECT_EQ(client->request(0).url, "https://www.googleapis.com/drive/v3/files?prettyPrint=false");
  query.pageToken = "";
  const auto next = execute(query);
  EXPECT_EQ(client->request(1).url, "https://www.googleapis.com/drive/v3/files?pageToken=&prettyPrint=false");
}

TEST_F(DriveCall, ADeletionAsksForNoSharedDriveSupportAndHasNoBody) {
  const auto delivery = execute(deleteQuery());
  EXPECT_EQ(client->request(0).method, "DELETE");
  EXPECT_EQ(client->request(0).url, "https://www.googleapis.com/drive/v3/files/1AbC?prettyPrint=false");
  EXPECT_TRUE(client->request(0).body.empty());
  EXPECT_THAT(client->request(0).headers, IsEmpty());
}

TEST_F(DriveCall, TrashingSendsTrashedAloneAndAsksForSharedDriveSupport) {
  const auto delivery = execute(trashQuery());
  EXPECT_EQ(client->request(0).method, "PATCH");
  EXPECT_EQ(client->request(0).url,
            "https://www.googleapis.com/drive/v3/files/1AbC?supportsAllDrives=true&prettyPrint=false");
  EXPECT_EQ(textView(client->request(0).body), R"({"trashed":true})");
  EXPECT_THAT(client->request(0).headers, ElementsAre(Pair("Content-Type", "application/json")));
}

TEST_F(DriveCall, AnUpdateThatDoesNotSpeakOfSharedDrivesSendsNothingOfThem) {
  const auto delivery = execute(GTLRDriveQuery_FilesUpdate::queryWithObject({}, "x", std::nullopt));
  EXPECT_EQ(client->request(0).url, "https://www.googleapis.com/drive/v3/files/x?prettyPrint=false");
  EXPECT_EQ(textView(client->request(0).body), "{}");
}

TEST_F(DriveCall, AFileIdStaysOneSegmentOfThePath) {
  struct Row {
    std::string id;
    std::string encoded;
  };
  for (const auto& [id, encoded] :
       {Row{"a/b", "a%2Fb"}, Row{".", "%2E"}, Row{"..", "%2E%2E"}, Row{"../about", "..%2Fabout"},
        Row{"...", "..."}, Row{"a?b#c&d=e%2F", "a%3Fb%23c%26d%3De%252F"}, Row{"ä €", "%C3%A4%20%E2%82%AC"},
        Row{std::string("a\0b\n", 4), "a%00b%0A"}, Row{"A-z_0.9~", "A-z_0.9~"},
        Row{"a+b:c@d,e;f", "a%2Bb%3Ac%40d%2Ce%3Bf"}, Row{"trashy", "trashy"}, Row{"Trash", "Trash"}}) {
    const auto sent = client->sent();
    const auto deletion = execute(deleteQuery(id));
    const auto trashing = execute(trashQuery(id));
    ASSERT_EQ(client->sent(), sent + 2) << id;
    EXPECT_EQ(client->request(sent).url,
              "https://www.googleapis.com/drive/v3/files/" + encoded + "?prettyPrint=false");
    EXPECT_EQ(client->request(sent + 1).url, "https://www.googleapis.com/drive/v3/files/" + encoded +
                                                 "?supportsAllDrives=true&prettyPrint=false");
  }
}

TEST_F(DriveCall, AnEmptyFileIdIsRefusedUnsent) {
  for (const auto& query : {deleteQuery(""), trashQuery("")}) {
    const auto delivery = execute(query);
    EXPECT_EQ(delivery->calls, 0) << "never inside executeQuery";
    queue->runAll();
    EXPECT_THAT(delivery, BroughtError(GTLRServiceErrorDomain, -1));
    EXPECT_THAT(delivery->description(), HasSubstr("empty id"));
  }
  EXPECT_EQ(client->sent(), 0u);
}

TEST_F(DriveCall, DeletingTrashIsRefusedBecauseItWouldEmptyTheWholeTrash) {
  const auto delivery = execute(deleteQuery("trash"));
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(GTLRServiceErrorDomain, -1));
  EXPECT_THAT(delivery->description(), HasSubstr("empty the whole trash"));
  EXPECT_EQ(client->sent(), 0u);
}

TEST_F(DriveCall, AnUpdateWithContentIsRefusedUnsent) {
  const auto delivery = execute(
      GTLRDriveQuery_FilesUpdate::queryWithObject({}, "1", GTLRUploadParameters{"text/plain", "hello"}));
  queue->runAll();
  EXPECT_THAT(delivery, BroughtError(GTLRServiceErrorDomain, -1));
  EXPECT_THAT(delivery->description(), HasSubstr("not supported"));
  EXPECT_EQ(client->sent(), 0u);
}

TEST_F(DriveCall, AnotherBaseURLIsUsedWithOrWithoutItsSlash) {
  for (const auto* base : {"http://127.0.0.1:8080/drive/v3", "http://127.0.0.1:8080/drive/v3/"}) {
    const auto local = std::make_shared<ScriptedHTTPClient>();
    RESTDriveService other(local, std::make_shared<SIMDJSONDriveParser>(), queue, base);
    other.setAuthorizer(session);
    const auto running = other.executeQuery(deleteQuery(), [](const auto&, auto, auto) {});
    EXPECT_EQ(local->request(0).url, "http://127.0.0.1:8080/drive/v3/files/1AbC?prettyPrint=false");
  }
}

TEST(FileBody, HoldsThePresentMembersAsGoogleWritesThem) {
  GTLRDrive_File file;
  file.identifier = "1";
  file.mimeType = "text/plain";
  file.name = std::string("a\"b\\c\n\0ä", 9);
  file.size = 9007199254740993;
  file.shared = false;
  file.trashed = true;
  file.createdTime = parseRFC3339("2024-01-31T12:34:56.789Z");
  file.modifiedTime = parseRFC3339("2024-01-31T12:34:56.789123Z");
  file.parents = {"p", "q"};
  file.iconLink = "i";
  file.webViewLink = "w";
  EXPECT_EQ(
      textView(fileBody(file)),
      R"({"id":"1","mimeType":"text/plain","name":"a\"b\\c\u000a\u0000ä","size":"9007199254740993",)"
      R"("shared":false,"trashed":true,"createdTime":"2024-01-31T12:34:56.789Z",)"
      R"("modifiedTime":"2024-01-31T12:34:56.789123Z","parents":["p","q"],"iconLink":"i","webViewLink":"w"})");
}

}  // namespace
}  // namespace corvane::test
