#include "GoogleDriveAPI/Conversions.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include "support/DriveSamples.hpp"

using namespace corvane;
using namespace corvane::test;

TEST(FileConversion, TakesEveryMember) {
  auto object = fileObject("id");
  object.size = std::numeric_limits<std::int64_t>::max();
  object.shared = true;
  object.trashed = true;
  object.parents = {"p1", "p2"};
  object.iconLink = "icon";
  object.webViewLink = "view";
  EXPECT_EQ(convertFile(object),
            File("id", "text/plain", "notes.txt", "9223372036854775807", true, true, instant(1), instant(2),
                 std::vector<std::string>{"p1", "p2"}, "icon", "view"));
}

TEST(FileConversion, ReadsAbsentFlagsAsFalseAndKeepsOtherAbsentMembersAbsent) {
  EXPECT_EQ(convertFile(fileObject("id")),
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
    EXPECT_EQ(convertFile(object), std::nullopt) << "omission " << i + 1;
  }
}

TEST(FileConversion, WritesSizesAsDecimalText) {
  auto object = fileObject("id");
  object.size = 0;
  EXPECT_EQ(convertFile(object)->size, "0");
  object.size = 1'000'000;
  EXPECT_EQ(convertFile(object)->size, "1000000");
}
