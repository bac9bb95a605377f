#include "Records/RecordKeys.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "RecordSamples.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

template <class Record>
void expectKeys(const std::vector<std::string>& names) {
  for (const auto& name : names) {
    const auto key = RecordKeys<Record>::fromString(name);
    ASSERT_TRUE(key) << name;
    EXPECT_EQ(key->stringValue(), name);
    EXPECT_EQ(key->intValue(), std::nullopt);
    EXPECT_EQ(key->description(), "CodingKeys(stringValue: \"" + name + "\", intValue: nil)");
    EXPECT_EQ(key->debugDescription(), key->description());
  }
}

}  // namespace

TEST(RecordKeys, AreTheFieldNamesLetterForLetter) {
  expectKeys<About>({"storageQuota", "appInstalled", "maxUploadSize", "user"});
  expectKeys<StorageQuota>({"limit", "usage", "usageInDrive"});
  expectKeys<User>({"displayName", "emailAddress", "photoLink"});
  expectKeys<File>({"id", "mimeType", "name", "size", "shared", "trashed", "createdTime", "modifiedTime",
                    "parents", "iconLink", "webViewLink"});
  expectKeys<FilesPage>({"files", "nextPageToken"});
}

TEST(RecordKeys, AnotherLetterCaseOrSnakeCaseIsNoKey) {
  for (const auto* text : {"mimetype", "MimeType", "mime_type", "created_time", "ID", "", "id ", "size,"})
    EXPECT_EQ(RecordKeys<File>::fromString(text), std::nullopt) << text;
  EXPECT_EQ(RecordKeys<FilesPage>::fromString("next_page_token"), std::nullopt);
  EXPECT_EQ(RecordKeys<User>::fromString("display_name"), std::nullopt);
}

TEST(RecordKeys, AnIntegerIsNeverAKey) {
  EXPECT_EQ(RecordKeys<About>::fromInteger(0), std::nullopt);
  EXPECT_EQ(RecordKeys<File>::fromInteger(1), std::nullopt);
}

TEST(APIFields, NameExactlyTheRecordsFieldsInOrder) {
  EXPECT_EQ(StorageQuota::apiFields(), "limit,usage,usageInDrive");
  EXPECT_EQ(User::apiFields(), "displayName,emailAddress,photoLink");
  EXPECT_EQ(File::apiFields(),
            "id,mimeType,name,size,shared,trashed,createdTime,modifiedTime,parents,iconLink,webViewLink");
  EXPECT_EQ(About::apiFields(),
            "storageQuota(limit,usage,usageInDrive),appInstalled,maxUploadSize,"
            "user(displayName,emailAddress,photoLink)");
}
