#include <gtest/gtest.h>

#include <concepts>
#include <functional>
#include <type_traits>
#include <vector>

#include "RecordSamples.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

template <class Type>
concept Hashable = requires(const Type& value) {
  std::hash<Type>{}(value);
};
template <class Type>
concept HasAPIFields = requires {
  Type::apiFields();
};

}  // namespace

// None of the records is hashable; FilesPage has no field list and cannot be written to.
static_assert(!Hashable<About> && !Hashable<StorageQuota> && !Hashable<User> && !Hashable<File>);
static_assert(!Hashable<FilesPage>);
static_assert(!HasAPIFields<FilesPage> && HasAPIFields<About>);
static_assert(std::equality_comparable<About> && std::equality_comparable<FilesPage>);
static_assert(!std::is_default_constructible_v<About> && !std::is_default_constructible_v<File>);
static_assert(!std::is_default_constructible_v<FilesPage>);
static_assert(std::is_const_v<std::remove_reference_t<decltype(std::declval<FilesPage&>().files())>>);

TEST(RecordEquality, HoldsWhenAllFieldsAreEqual) {
  EXPECT_EQ(sampleAbout(), sampleAbout());
  EXPECT_EQ(sampleFile(), sampleFile());
  EXPECT_EQ(sampleFolder(), sampleFolder());
  EXPECT_EQ(FilesPage({sampleFile()}, "t"), FilesPage({sampleFile()}, "t"));
}

TEST(RecordEquality, NoticesEachFieldOfAFile) {
  const std::vector<std::function<void(File&)>> changes{
      [](File& f) { f.id = "x"; },
      [](File& f) { f.mimeType = "x"; },
      [](File& f) { f.name = "x"; },
      [](File& f) { f.size = "43"; },
      [](File& f) { f.shared = !f.shared; },
      [](File& f) { f.trashed = !f.trashed; },
      [](File& f) { f.createdTime += std::chrono::microseconds{1}; },
      [](File& f) { f.modifiedTime += std::chrono::microseconds{1}; },
      [](File& f) { f.parents->push_back("p3"); },
      [](File& f) { f.iconLink.reset(); },
      [](File& f) { f.webViewLink = ""; },
  };
  for (std::size_t i = 0; i < changes.size(); ++i) {
    File changed = sampleFile();
    changes[i](changed);
    EXPECT_NE(changed, sampleFile()) << "field " << i + 1;
  }
}

TEST(RecordEquality, NoticesEachFieldOfAnAbout) {
  const std::vector<std::function<void(About&)>> changes{
      [](About& a) { ++a.storageQuota.limit; },
      [](About& a) { ++a.storageQuota.usage; },
      [](About& a) { ++a.storageQuota.usageInDrive; },
      [](About& a) { a.appInstalled = false; },
      [](About& a) { ++a.maxUploadSize; },
      [](About& a) { a.user.displayName = "x"; },
      [](About& a) { a.user.emailAddress = "x"; },
      [](About& a) { a.user.photoLink = "x"; },
  };
  for (std::size_t i = 0; i < changes.size(); ++i) {
    About changed = sampleAbout();
    changes[i](changed);
    EXPECT_NE(changed, sampleAbout()) << "change " << i + 1;
  }
}

TEST(RecordEquality, NoticesEachFieldOfAPage) {
  const FilesPage page({sampleFile(), sampleFolder()}, "t");
  EXPECT_NE(page, FilesPage({sampleFolder(), sampleFile()}, "t"));
  EXPECT_NE(page, FilesPage({sampleFile()}, "t"));
  EXPECT_NE(page, FilesPage({sampleFile(), sampleFolder()}, std::nullopt));
  EXPECT_NE(page, FilesPage({sampleFile(), sampleFolder()}, ""));
}

TEST(RecordEquality, FilesWithAbsentParentsAndWithNoParentsAreNotEqual) {
  File absent = sampleFile();
  File none = sampleFile();
  absent.parents.reset();
  none.parents.emplace();
  EXPECT_NE(absent, none);
}

TEST(RecordEquality, FilesWithParentsInAnotherOrderAreNotEqual) {
  File swapped = sampleFile();
  swapped.parents = {"p2", "p1"};
  EXPECT_NE(swapped, sampleFile());
}

TEST(RecordEquality, ComparesTextsByCanonicalEquivalenceEverywhere) {
  File composed = sampleFile();
  File decomposed = sampleFile();
  composed.name = "caf\u00E9";
  decomposed.name = "cafe\u0301";
  composed.parents = {"\u00E9"};
  decomposed.parents = {"e\u0301"};
  composed.iconLink = "\u00E9";
  decomposed.iconLink = "e\u0301";
  EXPECT_EQ(composed, decomposed);
}

TEST(File, IsIdentifiedByItsId) {
  EXPECT_EQ(sampleFile().identity(), "id-1");
}

TEST(Records, AreIndependentCopies) {
  File copy = sampleFile();
  const File original = copy;
  copy.name = "other";
  EXPECT_EQ(original.name, "notes.txt");
}
