#include "DriveServiceFixture.hpp"

namespace corvane::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class DriveAnswer : public DriveServiceTest {
 protected:
  std::shared_ptr<Delivery> answered(GTLRDriveQuery query, int status, std::string_view body) {
    const auto delivery = execute(std::move(query));
    client->answer(client->sent() - 1, status, body);
    EXPECT_EQ(delivery->calls, 1) << body;
    return delivery;
  }
};

TEST_F(DriveAnswer, AboutBringsAnAboutObject) {
  const auto delivery = answered(aboutQuery(), 200, R"({"user":{"displayName":"Ada"},"maxUploadSize":"7"})");
  ASSERT_TRUE(std::holds_alternative<GTLRDrive_About>(delivery->object));
  EXPECT_EQ(std::get<GTLRDrive_About>(delivery->object).user->displayName, "Ada");
  EXPECT_EQ(std::get<GTLRDrive_About>(delivery->object).maxUploadSize, 7);
  EXPECT_FALSE(delivery->error);
}

TEST_F(DriveAnswer, AListingBringsAFileList) {
  const auto delivery = answered(listQuery(), 200, R"({"files":[{"id":"1"}],"nextPageToken":"t"})");
  ASSERT_TRUE(std::holds_alternative<GTLRDrive_FileList>(delivery->object));
  EXPECT_EQ(filesOf(std::get<GTLRDrive_FileList>(delivery->object)).at(0).identifier, "1");
  EXPECT_EQ(std::get<GTLRDrive_FileList>(delivery->object).nextPageToken, "t");
  EXPECT_FALSE(delivery->error);
}

TEST_F(DriveAnswer, TheHandlerGetsTheTicketThatExecuteQueryReturned) {
  const auto delivery = answered(aboutQuery(), 200, "{}");
  EXPECT_EQ(delivery->ticket, ticket);
}

TEST_F(DriveAnswer, AnObjectOfAnotherKindHasAbsentMembers) {
  const auto list = answered(listQuery(), 200, R"({"kind":"drive#about","user":{}})");
  ASSERT_TRUE(std::holds_alternative<GTLRDrive_FileList>(list->object));
  EXPECT_FALSE(std::get<GTLRDrive_FileList>(list->object).files);
  const auto about = answered(aboutQuery(), 200, R"({"kind":"drive#fileList","files":[]})");
  ASSERT_TRUE(std::holds_alternative<GTLRDrive_About>(about->object));
  EXPECT_FALSE(std::get<GTLRDrive_About>(about->object).user);
}

TEST_F(DriveAnswer, AnEmptyBodyIsASuccessWithoutAnObject) {
  for (const int status : {200, 204})
    for (const auto& query : {aboutQuery(), listQuery(), deleteQuery(), trashQuery()}) {
      const auto delivery = answered(query, status, "");
      EXPECT_FALSE(delivery->error) << delivery->description();
      EXPECT_EQ(delivery->object.index(), 0u);
    }
}

TEST_F(DriveAnswer, ADeletionSucceedsWithAnyObjectForABody) {
  for (const auto* body : {"{}", "{\n}\n", R"({"id":"1"})"}) {
    const auto delivery = answered(deleteQuery(), 200, body);
    EXPECT_FALSE(delivery->error) << delivery->description();
    EXPECT_EQ(delivery->object.index(), 0u);
  }
}

TEST_F(DriveAnswer, AnUpdateBringsTheFile) {
  const auto delivery = answered(trashQuery(), 200, R"({"id":"1AbC","trashed":true})");
  ASSERT_TRUE(std::holds_alternative<GTLRDrive_File>(delivery->object));
  EXPECT_EQ(std::get<GTLRDrive_File>(delivery->object).trashed, true);
}

TEST_F(DriveAnswer, ASuccessThatIsNoJSONObjectFailsEveryOperationAndHintsAtASignInPage) {
  for (const auto* body : {"<!DOCTYPE html><html><a href=\"https://portal\">Sign in</a></html>", "[]", "null",
                           "7", "\"files\"", "{\"files\":[{\"id\":\"1\"}", "OK", " "})
    for (const auto& query : {aboutQuery(), listQuery(), deleteQuery(), trashQuery()}) {
      const auto delivery = answered(query, 200, body);
      EXPECT_THAT(delivery, BroughtError(NSURLErrorDomain, -1017)) << body;
      EXPECT_THAT(delivery->description(), HasSubstr("sign-in page"));
      EXPECT_THAT(delivery->description(), HasSubstr("www.googleapis.com"));
      EXPECT_THAT(delivery->description(), Not(HasSubstr("portal")));
    }
}

/// A parser for whose documents the memory never suffices.
class ExhaustedParser final : public DriveParser {
 public:
  std::optional<GTLRDrive_About> about(const Data&) const override { throw std::bad_alloc(); }
  std::optional<GTLRDrive_FileList> fileList(const Data&) const override { throw std::bad_alloc(); }
  std::optional<GTLRDrive_File> file(const Data&) const override { throw std::bad_alloc(); }
  std::optional<DriveErrorObject> error(const Data&) const override { throw std::bad_alloc(); }
};

TEST_F(DriveAnswer, MemoryThatRunsOutOverAnAnswerIsAnErrorOfThatRequestAlone) {
  service = std::make_shared<RESTDriveService>(client, std::make_shared<ExhaustedParser>(), queue);
  service->setAuthorizer(session);
  EXPECT_THAT(answered(listQuery(), 200, "{}"), BroughtError("NSPOSIXErrorDomain", 12));
  EXPECT_THAT(answered(listQuery(), 503, "{}"), BroughtError("NSPOSIXErrorDomain", 12));
  EXPECT_FALSE(answered(deleteQuery(), 204, "")->error);
}

}  // namespace
}  // namespace corvane::test
