#pragma once

#include <CorvanePlatform/DriveObjects.hpp>

#include <simdjson.h>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace corvane {

/// Reads the members of one file after another, the objects that a long listing has by the hundred thousand. The first
/// of two members of one name counts, also when it is of the wrong kind.
class FileReader {
 public:
  /// The file with these members; valid until the next one is read, and as long as the document.
  const GTLRDrive_FileView& read(const simdjson::dom::object& members);
  /// A file without members.
  const GTLRDrive_FileView& readNone();

 private:
  enum Member : std::uint32_t;

  void clear();
  void readMember(std::string_view key, simdjson::dom::element value);
  void readSize(simdjson::dom::element value);
  bool isFirst(Member member);

  GTLRDrive_FileView file_;
  std::uint32_t seen_ = 0;
  std::vector<std::string_view> parents_;  // the file's
  std::array<char, 20> size_{};  // the file's, when the server wrote it in another form; any int64 fits
};

/// The file, with texts of its own.
GTLRDrive_File copyOf(const GTLRDrive_FileView& file);

}  // namespace corvane
