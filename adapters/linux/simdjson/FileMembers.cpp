// Other objects are read by a table of names and readers (MemberTable.hpp). Files are too many for that: a search
// and a call through a pointer for each member would cost a third of the whole conversion. A switch over the first
// letter leaves one or two names to compare, which the compiler turns into a few instructions.
#include "FileMembers.hpp"

#include "MemberKinds.hpp"

#include <algorithm>
#include <charconv>
#include <string>

namespace corvane {
namespace {

using simdjson::dom::element;

/// Whether a number would be written with these very digits.
bool isPlainNumber(std::string_view text) {
  constexpr std::size_t surelyInt64 = 18;  // digits
  if (text.empty() || text.size() > surelyInt64 || (text.front() == '0' && text.size() > 1)) return false;
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::string> copied(const std::optional<std::string_view>& text) {
  return std::optional<std::string>(text);
}

}  // namespace

enum FileReader::Member : std::uint32_t {
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

const GTLRDrive_FileView& FileReader::read(const simdjson::dom::object& members) {
  clear();
  for (const auto field : members) readMember(field.key, field.value);
  return file_;
}

const GTLRDrive_FileView& FileReader::readNone() {
  clear();
  return file_;
}

// One by one: compilers zero a new object as a whole, which takes as long as reading half of its members.
void FileReader::clear() {
  seen_ = 0;
  file_.identifier.reset();
  file_.mimeType.reset();
  file_.name.reset();
  file_.size.reset();
  file_.shared.reset();
  file_.trashed.reset();
  file_.createdTime.reset();
  file_.modifiedTime.reset();
  file_.parents.reset();
  file_.iconLink.reset();
  file_.webViewLink.reset();
}

inline bool FileReader::isFirst(Member member) {
  const bool first = (seen_ & member) == 0;
  seen_ |= member;
  return first;
}

inline void FileReader::readMember(std::string_view key, element value) {
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
      if (key == "parents" && isFirst(parents) && readTexts(parents_, value)) file_.parents = parents_;
      break;
    case 's':
      if (key == "shared" && isFirst(shared)) readFlag(file_.shared, value);
      if (key == "size" && isFirst(size)) readSize(value);
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

void FileReader::readSize(element value) {
  std::string_view text;
  if (!value.get(text) && isPlainNumber(text)) {
    file_.size.emplace(text);
    return;
  }
  std::optional<std::int64_t> number;
  readInteger(number, value);
  if (!number) return;
  const auto end = std::to_chars(size_.data(), size_.data() + size_.size(), *number).ptr;
  file_.size.emplace(size_.data(), static_cast<std::size_t>(end - size_.data()));
}

GTLRDrive_File copyOf(const GTLRDrive_FileView& file) {
  GTLRDrive_File copy;
  copy.identifier = copied(file.identifier);
  copy.mimeType = copied(file.mimeType);
  copy.name = copied(file.name);
  if (file.size) {
    std::int64_t number = 0;
    std::from_chars(file.size->data(), file.size->data() + file.size->size(), number);
    copy.size = number;
  }
  copy.shared = file.shared;
  copy.trashed = file.trashed;
  copy.createdTime = file.createdTime;
  copy.modifiedTime = file.modifiedTime;
  if (file.parents) copy.parents.emplace(file.parents->begin(), file.parents->end());
  copy.iconLink = copied(file.iconLink);
  copy.webViewLink = copied(file.webViewLink);
  return copy;
}

}  // namespace corvane
