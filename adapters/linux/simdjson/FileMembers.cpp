// Other objects are read by a table of names and readers (MemberTable.hpp). Files are too many for that: a search
// and a call through a pointer for each member would cost a third of the whole conversion. A switch over the first
// letter leaves one or two names to compare, which the compiler turns into a few instructions.
#include "FileMembers.hpp"

#include "MemberKinds.hpp"

#include <cstdint>
#include <string_view>

namespace corvane {
namespace {

using simdjson::dom::element;

class FileReader {
 public:
  explicit FileReader(GTLRDrive_File& file) : file_(file) {}

  void read(std::string_view key, const element& value) {
    if (key.empty()) return;
    switch (key.front()) {
      case 'c':
        if (key == "createdTime" && isFirst(createdTime)) readDate(file_.createdTime, value);
        break;
      case 'i':
        if (key == "id" && isFirst(id)) readText(file_.identifier, value);
        if (key == "iconLink" && isFirst(iconLink)) readText(file_.iconLink, value);
        break;
      case 'm':
        if (key == "mimeType" && isFirst(mimeType)) readText(file_.mimeType, value);
        if (key == "modifiedTime" && isFirst(modifiedTime)) readDate(file_.modifiedTime, value);
        break;
      case 'n':
        if (key == "name" && isFirst(name)) readText(file_.name, value);
        break;
      case 'p':
        if (key == "parents" && isFirst(parents)) readTexts(file_.parents, value);
        break;
      case 's':
        if (key == "shared" && isFirst(shared)) readFlag(file_.shared, value);
        if (key == "size" && isFirst(size)) readInteger(file_.size, value);
        break;
      case 't':
        if (key == "trashed" && isFirst(trashed)) readFlag(file_.trashed, value);
        break;
      case 'w':
        if (key == "webViewLink" && isFirst(webViewLink)) readText(file_.webViewLink, value);
        break;
      default:
        break;
    }
  }

 private:
  enum Member : std::uint32_t {
    createdTime = 1,
    iconLink = 2,
    id = 4,
    mimeType = 8,
    modifiedTime = 16,
    name = 32,
    parents = 64,
    shared = 128,
    size = 256,
    trashed = 512,
    webViewLink = 1024
  };

  bool isFirst(Member member) {
    const bool first = (seen_ & member) == 0;
    seen_ |= member;
    return first;
  }

  GTLRDrive_File& file_;
  std::uint32_t seen_ = 0;
};

}  // namespace

void readFile(GTLRDrive_File& file, const simdjson::dom::object& source) {
  FileReader reader(file);
  for (const auto field : source) reader.read(field.key, field.value);
}

}  // namespace corvane
