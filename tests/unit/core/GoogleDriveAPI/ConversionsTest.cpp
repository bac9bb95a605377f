#include "GoogleDriveAPI/Conversions.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "support/DriveSamples.hpp"

using namespace corvane;
using namespace corvane::test;

namespace {

/// A list of one complete file of this size.
class OneFile final : public GTLRDrive_Files {
 public:
  explicit OneFile(std::string_view size) : size_(size) {}
  std::size_t size() const override { return 1; }
  void forEach(const Visitor& visit) const override {
    GTLRDrive_FileView view;
    view.identifier = "id";
    view.mimeType = "text/plain";
    view.name = "name";
    view.size = size_;
    view.createdTime = instant(1);
    view.modifiedTime = instant(2);
    visit(view);
  }

 private:
  std::string_view size_;
};

/// What becomes of a list of this one file.
std::optional<File> converted(GTLRDrive_File object) {
  auto files = convertFiles(FilesInMemory({std::move(object)}));
  if (files.empty()) return std::nullopt;
  return std::move(files.front());
}

}  // namespace

TEST(FileConversion, TakesEveryMember) {
  auto object = fileObject("id");
  object.size = std::numeric_limits<std::int64_t>::max();
  object.shared = true;
  object.trashed = true;
  object.parents = {"p1", "p2"};
  object.iconLink = "icon";
  object.webViewLink = "view";
  EXPECT_EQ(converted(object),
            File("id", "text/plain", "notes.txt", "9223372036854775807", true, true, instant(1), instant(2),
                 std::vector<std::string>{"p1", "p2"}, "icon", "view"));
}

TEST(FileConversion, ReadsAbsentFlagsAsFalseAndKeepsOtherAbsentMembersAbsent) {
  EXPECT_EQ(converted(fileObject("id")),
            File("id", "text/plain", "notes.txt", std::nullopt, false, false, instant(1), instant(2),
                 std::nullopt, std::nullopt, std::nullopt));
}

TEST(FileConversion, DropsAFileThatLacksAnyRequiredMember) {
  const std::vector<std::function<void(GTLRDrive_File&)>> omissions{
      [](auto& file) { file.identifier.reset(); },   [](auto& file) { file.mimeType.reset(); },
      [](auto& file) { file.name.reset(); },         [](auto& file) { file.createdTime.reset(); },
      [](auto& file) { file.modifiedTime.reset(); },
  };
  for (std::size_t i = 0; i < omissions.size(); ++i) {
    auto object = fileObject("id");
    omissions[i](object);
    EXPECT_EQ(converted(object), std::nullopt) << "omission " << i + 1;
  }
}

TEST(FileConversion, TakesSizesAsDecimalText) {
  // Beyond 32 bits, beyond what a real number keeps, and beyond 64 bits: the text is what counts.
  for (const auto* size :
       {"0", "1000000", "4294967296", "9007199254740993", "18446744073709551616"}) {
    const auto files = convertFiles(OneFile(size));
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files.front().size, size);
  }
}

TEST(FileConversion, KeepsTheOrderAndMayBeRepeated) {
  auto incomplete = fileObject("b");
  incomplete.name.reset();
  const FilesInMemory objects({fileObject("a"), incomplete, fileObject("c")});
  const auto files = convertFiles(objects);
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0].id, "a");
  EXPECT_EQ(files[1].id, "c");
  EXPECT_EQ(convertFiles(objects), files);
}

TEST(FileConversion, RecordsOutliveTheirList) {
  const std::string id = "an identifier, too long for any small buffer";
  const auto file = converted(fileObject(id));
  EXPECT_EQ(file->id, id);
}
