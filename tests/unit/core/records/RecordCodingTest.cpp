#include <Corvane/DecodingError.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "RecordSamples.hpp"
#include "support/ErrorMatchers.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

const std::vector<std::string> optionalFileKeys{"size", "parents", "iconLink", "webViewLink"};

template <class Record>
std::optional<DecodingError::Case> refusal(const PlainValue& value) {
  const std::optional<AnyError> error = errorOf([&] { decodedPlainly<Record>(value); });
  return error ? std::optional(error->as<DecodingError>()->kind()) : std::nullopt;
}

std::string keysOf(const PlainValue& value) {
  std::string keys;
  for (const auto& [key, ignored] : std::get<PlainValue::Object>(value.content)) keys += key + " ";
  return keys;
}

/// A coder that writes until it is told not to.
class FailingEncoder final : public Encoder, public KeyedEncodingContainer {
 public:
  explicit FailingEncoder(std::string key) : failingKey_(std::move(key)) {}

  std::unique_ptr<KeyedEncodingContainer> keyedContainer() override {
    return std::make_unique<FailingEncoder>(*this);
  }
  std::unique_ptr<UnkeyedEncodingContainer> unkeyedContainer() override { return nullptr; }
  void encode(std::string_view, const CodingKey& key) override { write(key); }
  void encode(bool, const CodingKey& key) override { write(key); }
  void encode(std::int64_t, const CodingKey& key) override { write(key); }
  void encode(Date, const CodingKey& key) override { write(key); }
  void encodeNested(const CodingKey& key, const std::function<void(Encoder&)>&) override { write(key); }

  std::shared_ptr<std::string> written = std::make_shared<std::string>();

 private:
  void write(const CodingKey& key) {
    if (key.stringValue() == failingKey_) throw AnyError(NSError("Coder", 9));
    *written += std::string(key.stringValue()) + " ";
  }
  std::string failingKey_;
};

}  // namespace

TEST(RecordCoding, WritesEveryFieldInOrderUnderItsName) {
  EXPECT_EQ(encodedPlainly(sampleAbout()), plainAbout());
  EXPECT_EQ(encodedPlainly(sampleQuota()), plainQuota());
  EXPECT_EQ(encodedPlainly(sampleUser()), plainUser());
  EXPECT_EQ(encodedPlainly(sampleFile()), plainFile());
  const PlainValue page{
      PlainValue::Object{{"files", {PlainValue::List{plainFile()}}}, {"nextPageToken", {std::string("t")}}}};
  EXPECT_EQ(encodedPlainly(FilesPage({sampleFile()}, "t")), page);
}

TEST(RecordCoding, ReadsWhatItWrote) {
  EXPECT_EQ(decodedPlainly<About>(plainAbout()), sampleAbout());
  EXPECT_EQ(decodedPlainly<StorageQuota>(plainQuota()), sampleQuota());
  EXPECT_EQ(decodedPlainly<User>(plainUser()), sampleUser());
  EXPECT_EQ(decodedPlainly<File>(plainFile()), sampleFile());
  const FilesPage page({sampleFile(), sampleFolder()}, "next");
  EXPECT_EQ(decodedPlainly<FilesPage>(encodedPlainly(page)), page);
}

TEST(RecordCoding, AFileWithoutItsOptionalKeysDecodesAndEncodesWithoutThem) {
  PlainValue value = plainFile();
  for (const auto& key : optionalFileKeys) value = without(value, key);
  const File file = decodedPlainly<File>(value);
  EXPECT_EQ(file.size, std::nullopt);
  EXPECT_EQ(file.parents, std::nullopt);
  EXPECT_EQ(file.iconLink, std::nullopt);
  EXPECT_EQ(file.webViewLink, std::nullopt);
  EXPECT_EQ(keysOf(encodedPlainly(file)), "id mimeType name shared trashed createdTime modifiedTime ");
  EXPECT_EQ(decodedPlainly<File>(encodedPlainly(file)), file);
}

TEST(RecordCoding, AFileWithItsOptionalKeysNullDecodesWithThoseFieldsAbsent) {
  PlainValue value = plainFile();
  for (const auto& key : optionalFileKeys) value = with(value, key, {nullptr});
  const File file = decodedPlainly<File>(value);
  EXPECT_EQ(keysOf(encodedPlainly(file)), "id mimeType name shared trashed createdTime modifiedTime ");
}

TEST(RecordCoding, AnOptionalFieldOfTheWrongKindStillFails) {
  for (const auto& key : optionalFileKeys)
    EXPECT_EQ(refusal<File>(with(plainFile(), key, {std::int64_t{7}})), DecodingError::Case::typeMismatch)
        << key;
}

TEST(RecordCoding, AFileWithoutCreatedTimeOrWithSharedNullFails) {
  EXPECT_EQ(refusal<File>(without(plainFile(), "createdTime")), DecodingError::Case::keyNotFound);
  EXPECT_EQ(refusal<File>(with(plainFile(), "shared", {nullptr})), DecodingError::Case::valueNotFound);
}

TEST(RecordCoding, EveryRequiredFieldIsRequiredAndOfItsKind) {
  const auto expectRequired = []<class Record>(const PlainValue& full, const std::vector<std::string>& keys) {
    for (const auto& key : keys) {
      EXPECT_EQ(refusal<Record>(without(full, key)), DecodingError::Case::keyNotFound) << key;
      EXPECT_EQ(refusal<Record>(with(full, key, {nullptr})), DecodingError::Case::valueNotFound) << key;
      EXPECT_EQ(refusal<Record>(with(full, key, {PlainValue::List{}})), DecodingError::Case::typeMismatch)
          << key;
    }
  };
  expectRequired.operator()<About>(plainAbout(), {"storageQuota", "appInstalled", "maxUploadSize", "user"});
  expectRequired.operator()<StorageQuota>(plainQuota(), {"limit", "usage", "usageInDrive"});
  expectRequired.operator()<User>(plainUser(), {"displayName", "emailAddress", "photoLink"});
  expectRequired.operator()<File>(
      plainFile(), {"id", "mimeType", "name", "shared", "trashed", "createdTime", "modifiedTime"});
}

TEST(RecordCoding, FieldsAreReadInTheirOrder) {
  // Of several that are missing, the first one is told.
  const auto expectOrder = []<class Record>(PlainValue value, std::vector<std::string> keys) {
    while (!keys.empty()) {
      value = without(value, keys.back());
      const auto error = errorOf([&] { decodedPlainly<Record>(value); });
      ASSERT_TRUE(error);
      EXPECT_EQ(error->template as<DecodingError>()->codingPath(), keys.back());
      keys.pop_back();
    }
  };
  expectOrder.operator()<About>(plainAbout(),
                                {"storageQuota", "appInstalled", "maxUploadSize", "user"});
  expectOrder.operator()<StorageQuota>(plainQuota(), {"limit", "usage", "usageInDrive"});
  expectOrder.operator()<User>(plainUser(), {"displayName", "emailAddress", "photoLink"});
  expectOrder.operator()<File>(
      plainFile(), {"id", "mimeType", "name", "shared", "trashed", "createdTime", "modifiedTime"});

  // An optional field of the wrong kind, before a required one that is missing.
  const auto file = with(without(plainFile(), "shared"), "size", {std::int64_t{7}});
  EXPECT_EQ(errorOf([&] { decodedPlainly<File>(file); })->as<DecodingError>()->codingPath(),
            "size");
  const PlainValue page{PlainValue::Object{{"nextPageToken", {true}}}};
  EXPECT_EQ(errorOf([&] { decodedPlainly<FilesPage>(page); })->as<DecodingError>()->codingPath(),
            "files");
}

TEST(RecordCoding, AnAboutWhoseUserLacksPhotoLinkFailsAsAWhole) {
  const auto value = with(plainAbout(), "user", without(plainUser(), "photoLink"));
  const auto error = errorOf([&] { decodedPlainly<About>(value); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->as<DecodingError>()->kind(), DecodingError::Case::keyNotFound);
  EXPECT_EQ(error->as<DecodingError>()->codingPath(), "user.photoLink");
}

TEST(RecordCoding, APageOfNoFilesWithoutATokenIsTheLastEmptyPage) {
  const PlainValue value{PlainValue::Object{{"files", {PlainValue::List{}}}}};
  const auto page = decodedPlainly<FilesPage>(value);
  EXPECT_TRUE(page.files().empty());
  EXPECT_EQ(page.nextPageToken(), std::nullopt);
  EXPECT_EQ(encodedPlainly(page), value);
}

TEST(RecordCoding, APageWithoutFilesFails) {
  EXPECT_EQ(refusal<FilesPage>({PlainValue::Object{{"nextPageToken", {std::string("t")}}}}),
            DecodingError::Case::keyNotFound);
}

TEST(RecordCoding, APageWithOneBrokenFileFailsAsAWhole) {
  const PlainValue value{
      PlainValue::Object{{"files", {PlainValue::List{plainFile(), without(plainFile(), "name")}}}}};
  const auto error = errorOf([&] { decodedPlainly<FilesPage>(value); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->as<DecodingError>()->codingPath(), "files[1].name");
}

TEST(RecordCoding, ExtraKeysInAnyObjectAreIgnored) {
  const PlainValue extra{PlainValue::Object{{"x", {true}}}};
  EXPECT_EQ(decodedPlainly<File>(with(plainFile(), "kind", extra)), sampleFile());
  const auto user = with(plainUser(), "me", {true});
  EXPECT_EQ(decodedPlainly<About>(with(with(plainAbout(), "user", user), "kind", extra)), sampleAbout());
}

TEST(RecordCoding, AnythingButAnObjectFails) {
  EXPECT_EQ(refusal<About>({PlainValue::List{}}), DecodingError::Case::typeMismatch);
  EXPECT_EQ(refusal<File>({std::string("text")}), DecodingError::Case::typeMismatch);
  EXPECT_EQ(refusal<FilesPage>({nullptr}), DecodingError::Case::valueNotFound);
}

TEST(RecordCoding, KeyedByExactTextsOnly) {
  auto value = without(plainFile(), "mimeType");
  value = with(value, "mime_type", {std::string("text/plain")});
  EXPECT_EQ(refusal<File>(value), DecodingError::Case::keyNotFound);
}

TEST(RecordCoding, TheCodersFirstErrorStopsEncodingAndPassesUnchanged) {
  FailingEncoder encoder("name");
  const auto error = errorOf([&] { sampleFile().encode(encoder); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), "Coder");
  EXPECT_EQ(error->code(), 9);
  EXPECT_EQ(*encoder.written, "id mimeType ");
}

TEST(RecordCoding, AnInstantSurvivesDecodingEncodingAndDecoding) {
  for (const auto offset : {std::int64_t{0}, std::int64_t{1}, std::int64_t{999'999}, std::int64_t{-1}}) {
    const auto value = with(plainFile(), "createdTime", {referenceDate + std::chrono::microseconds{offset}});
    const File once = decodedPlainly<File>(value);
    const File twice = decodedPlainly<File>(encodedPlainly(once));
    EXPECT_EQ(twice.createdTime, referenceDate + std::chrono::microseconds{offset});
  }
}
