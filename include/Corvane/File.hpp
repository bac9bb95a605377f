#pragma once

#include <Corvane/Date.hpp>
#include <Corvane/KeyedCoding.hpp>
#include <Corvane/RecordTable.hpp>

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// One file or folder of a Drive. (Drive API v3, files.)
/// A plain value, comparable and codable under its fields' names, identified by `id`.
struct File {
  explicit File(std::string id, std::string mimeType, std::string name,
                std::optional<std::string> size, bool shared, bool trashed, Date createdTime,
                Date modifiedTime, std::optional<std::vector<std::string>> parents,
                std::optional<std::string> iconLink, std::optional<std::string> webViewLink);

  std::string id;
  std::string mimeType;
  std::string name;
  /// The byte count as decimal text; absent for folders and others that have none.
  std::optional<std::string> size;
  bool shared;
  bool trashed;
  Date createdTime;
  Date modifiedTime;
  /// The ids of the parents.
  std::optional<std::vector<std::string>> parents;
  std::optional<std::string> iconLink;
  std::optional<std::string> webViewLink;

  /// What tells this file from every other.
  const std::string& identity() const { return id; }

  /// The partial-response field list that names exactly these fields.
  static const std::string& apiFields();
  /// Errors: the encoder's, unchanged. Absent fields are left out.
  void encode(Encoder& encoder) const;
  /// Errors: the decoder's, unchanged; nothing partial is returned.
  static File decode(const Decoder& decoder);
  /// Texts by Unicode canonical equivalence, times by exact instant.
  friend bool operator==(const File& left, const File& right);

 private:
  friend struct RecordTable;
  static constexpr auto table() {
    return std::tuple(recordField("id", &File::id), recordField("mimeType", &File::mimeType),
                      recordField("name", &File::name), recordField("size", &File::size),
                      recordField("shared", &File::shared), recordField("trashed", &File::trashed),
                      recordField("createdTime", &File::createdTime),
                      recordField("modifiedTime", &File::modifiedTime),
                      recordField("parents", &File::parents), recordField("iconLink", &File::iconLink),
                      recordField("webViewLink", &File::webViewLink));
  }
};

}  // namespace corvane
