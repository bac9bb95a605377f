#include <gmock/gmock.h>

#include "EmulatorFixture.hpp"

namespace corvane::tests {
namespace {

using testing::HasSubstr;

class EmulatedDrive : public EmulatorTest {};

TEST_F(EmulatedDrive, AboutHasOnlyTheFieldsAskedForAndNumbersAsStrings) {
  const auto answer = get("/drive/v3/about?fields=user(emailAddress,me),storageQuota");
  const auto about = json::parse(answer.body);
  EXPECT_EQ(about["user"], (json{{"emailAddress", ada}, {"me", true}}));
  EXPECT_EQ(about["storageQuota"].size(), 4U);
  EXPECT_EQ(about["storageQuota"]["limit"], "16106127360");
  EXPECT_EQ(about.size(), 2U);
}

TEST_F(EmulatedDrive, AboutWithoutFieldsIsRefused) {
  EXPECT_EQ(problem(get("/drive/v3/about")), "400 required");
}

TEST_F(EmulatedDrive, ARequestWithoutCredentialsMustLogIn) {
  const auto answer = connect().get("/drive/v3/about?fields=*");
  EXPECT_EQ(problem(answer), "401 required");
  EXPECT_THAT(answer.header("WWW-Authenticate"), HasSubstr("Bearer"));
}

TEST_F(EmulatedDrive, AnUnknownTokenIsRefused) {
  const auto answer = connect().get("/drive/v3/about?fields=*", {{"Authorization", "Bearer ya29.nonsense"}});
  EXPECT_EQ(problem(answer), "401 authError");
  EXPECT_THAT(answer.header("WWW-Authenticate"), HasSubstr("invalid_token"));
}

TEST_F(EmulatedDrive, ATokenInTheQueryIsRefused) {
  EXPECT_EQ(problem(get("/drive/v3/about?fields=*&access_token=ya29.x")), "400 invalidParameter");
}

TEST_F(EmulatedDrive, AnExpiredTokenIsRefusedButTheRestOfItsGrantIsNot) {
  server.expireTokens();
  EXPECT_EQ(problem(get("/drive/v3/about?fields=*")), "401 authError");
  session = signedIn();
  EXPECT_EQ(get("/drive/v3/about?fields=*").status, 200);
}

TEST_F(EmulatedDrive, ATokenWithoutADriveScopeIsInsufficient) {
  const auto answer = connect().get("/drive/v3/about?fields=*", signedIn("openid email"));
  EXPECT_EQ(problem(answer), "403 insufficientPermissions");
  const auto error = json::parse(answer.body)["error"];
  EXPECT_EQ(error["status"], "PERMISSION_DENIED");
  EXPECT_EQ(error["details"][0]["reason"], "ACCESS_TOKEN_SCOPE_INSUFFICIENT");
}

TEST_F(EmulatedDrive, AReadOnlyScopeListsButDoesNotTrash) {
  const auto id = firstFile("'me' in owners");
  session = signedIn("openid https://www.googleapis.com/auth/drive.readonly");
  EXPECT_EQ(get("/drive/v3/files").status, 200);
  EXPECT_EQ(problem(patch(id, R"({"trashed":true})")), "403 insufficientPermissions");
  EXPECT_EQ(problem(remove(id)), "403 insufficientPermissions");
}

TEST_F(EmulatedDrive, TheMetadataScopeTrashesButDoesNotDelete) {
  const auto id = firstFile("'me' in owners");
  session = signedIn("openid https://www.googleapis.com/auth/drive.metadata");
  EXPECT_EQ(patch(id, R"({"trashed":true})").status, 200);
  EXPECT_EQ(problem(remove(id)), "403 insufficientPermissions");
}

TEST_F(EmulatedDrive, AScopeForTheAppsOwnFilesSeesNone) {
  const auto id = firstFile("'me' in owners");
  session = signedIn("openid https://www.googleapis.com/auth/drive.file");
  EXPECT_TRUE(listAll("pageSize=10").empty());
  EXPECT_EQ(problem(get("/drive/v3/files/" + id)), "404 notFound");
}

TEST_F(EmulatedDrive, UnknownAndRepeatedAndMalformedParametersAreRefused) {
  EXPECT_EQ(problem(get("/drive/v3/files?pagesize=1")), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?pageSize=1&pageSize=1")), "400 badRequest");
  EXPECT_EQ(problem(get("/drive/v3/files?q=%zz")), "400 badRequest");
  EXPECT_EQ(problem(get("/drive/v3/files?prettyPrint=maybe")), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?alt=media")), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?corpora=everything")), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?corpora=allDrives")), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?includeItemsFromAllDrives=true")), "400 invalidParameter");
  EXPECT_EQ(problem(get("/drive/v3/files?spaces=photos")), "400 invalidParameter");
}

TEST_F(EmulatedDrive, AnswersArePrettyUnlessToldOtherwise) {
  EXPECT_THAT(get("/drive/v3/about?fields=kind").body, HasSubstr("\n"));
  EXPECT_EQ(get("/drive/v3/about?fields=kind&prettyPrint=false").body, R"({"kind":"drive#about"})");
  EXPECT_EQ(get("/drive/v3/about?prettyPrint=false").body.find('\n'), std::string::npos);
}

TEST_F(EmulatedDrive, AFileIsFoundByItsIdWithTheDefaultFields) {
  const auto id = firstFile("'me' in owners and trashed = false");
  const auto file = json::parse(get("/drive/v3/files/" + id).body);
  EXPECT_EQ(file["id"], id);
  EXPECT_EQ(file["kind"], "drive#file");
  EXPECT_EQ(file.size(), 4U);
}

TEST_F(EmulatedDrive, AnUnknownFileIsNotFound) {
  const auto answer = get("/drive/v3/files/1nonsense");
  EXPECT_EQ(problem(answer), "404 notFound");
  EXPECT_EQ(json::parse(answer.body)["error"]["errors"][0]["location"], "fileId");
}

TEST_F(EmulatedDrive, TrashingIsIdempotentAndMovesTheFileOutOfTheList) {
  const auto before = server.fileCount(ada, true, false);
  const auto id = firstFile("'me' in owners and trashed = false");
  for (int i = 0; i < 2; ++i) {
    const auto answer = patch(id, R"({"trashed":true})", "?fields=trashed,explicitlyTrashed");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(json::parse(answer.body), (json{{"trashed", true}, {"explicitlyTrashed", true}}));
  }
  EXPECT_EQ(server.fileCount(ada, true, false), before - 1);
  EXPECT_EQ(listAll("q=trashed%3dfalse+and+'me'+in+owners").size(), before - 1);
  EXPECT_EQ(patch(id, R"({"trashed":false})").status, 200);
  EXPECT_EQ(server.fileCount(ada, true, false), before);
}

TEST_F(EmulatedDrive, AnothersFileCanBeNeitherTrashedNorDeleted) {
  std::string id;
  for (const auto& file : listAll("fields=files(id,ownedByMe)")) {
    if (!file["ownedByMe"].get<bool>()) id = file["id"];
  }
  EXPECT_EQ(problem(patch(id, R"({"trashed":true})")), "403 insufficientFilePermissions");
  EXPECT_EQ(problem(remove(id)), "403 insufficientFilePermissions");
}

TEST_F(EmulatedDrive, AChangeMustBeJSONOfTheOneKnownMember) {
  const auto id = firstFile("'me' in owners");
  EXPECT_EQ(problem(patch(id, "{")), "400 parseError");
  EXPECT_EQ(problem(patch(id, "[]")), "400 parseError");
  EXPECT_EQ(problem(patch(id, R"({"trashed":"true"})")), "400 badRequest");
  EXPECT_EQ(problem(patch(id, R"({"trashed":true,"name":"x"})")), "400 badRequest");
  const auto untyped = connect().send("PATCH", "/drive/v3/files/" + id, session, R"({"trashed":true})");
  EXPECT_EQ(problem(untyped), "400 badRequest");
  EXPECT_EQ(problem(patch(id, R"({"trashed":true})", "?fields=bogus")), "400 invalidParameter");
  EXPECT_FALSE(json::parse(get("/drive/v3/files/" + id + "?fields=trashed").body)["trashed"]);
}

TEST_F(EmulatedDrive, DeletingAnswersNothingAndTheFileIsGone) {
  const auto id = firstFile("'me' in owners and trashed = false");
  const auto answer = remove(id);
  EXPECT_EQ(answer.status, 204);
  EXPECT_EQ(answer.body, "");
  EXPECT_EQ(problem(get("/drive/v3/files/" + id)), "404 notFound");
  EXPECT_EQ(problem(remove(id)), "404 notFound");
}

TEST_F(EmulatedDrive, ADeleteWithABodyIsRefused) {
  const auto id = firstFile("'me' in owners");
  EXPECT_EQ(problem(connect().send("DELETE", "/drive/v3/files/" + id, session, "{}")), "400 badRequest");
  EXPECT_EQ(get("/drive/v3/files/" + id).status, 200);
}

TEST_F(EmulatedDrive, ADeletedFolderTakesItsDescendantsAlong) {
  std::string folder;
  std::string child;
  for (const auto& file : listAll("fields=files(id,mimeType,parents)")) {
    if (file["mimeType"] == "application/vnd.google-apps.folder" && folder.empty()) folder = file["id"];
    if (file.contains("parents") && file["parents"][0] == folder) child = file["id"];
  }
  ASSERT_FALSE(child.empty());
  EXPECT_EQ(patch(folder, R"({"trashed":true})").status, 200);
  const auto inside = json::parse(get("/drive/v3/files/" + child + "?fields=trashed,explicitlyTrashed").body);
  EXPECT_EQ(inside, (json{{"trashed", true}, {"explicitlyTrashed", false}}));
  EXPECT_EQ(remove(folder).status, 204);
  EXPECT_EQ(get("/drive/v3/files/" + child).status, 404);
}

TEST_F(EmulatedDrive, UsageFallsWhenAFileIsDeleted) {
  const auto usage = [this] {
    return std::stoll(
        json::parse(
            get("/drive/v3/about?fields=storageQuota/usageInDrive").body)["storageQuota"]["usageInDrive"]
            .get<std::string>());
  };
  const auto before = usage();
  for (const auto& file : listAll("fields=files(id,size,ownedByMe)")) {
    if (!file.contains("size") || file["size"] == "0" || !file["ownedByMe"].get<bool>()) continue;
    remove(file["id"]);
    EXPECT_EQ(usage(), before - std::stoll(file["size"].get<std::string>()));
    return;
  }
  FAIL() << "no file has a size";
}

class UnlimitedDrive : public EmulatorTest {
 protected:
  UnlimitedDrive() : EmulatorTest({.accounts = {{.email = ada, .files = 3, .unlimitedStorage = true}}}) {}
};

TEST_F(UnlimitedDrive, HasNoLimitInItsQuota) {
  const auto quota = json::parse(get("/drive/v3/about?fields=storageQuota").body)["storageQuota"];
  EXPECT_FALSE(quota.contains("limit"));
  EXPECT_TRUE(quota.contains("usage"));
}

}  // namespace
}  // namespace corvane::tests
