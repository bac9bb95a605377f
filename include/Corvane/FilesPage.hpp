#pragma once

#include <Corvane/File.hpp>
#include <Corvane/KeyedCoding.hpp>
#include <Corvane/RecordTable.hpp>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// One page of a listing, in the server's order. A plain value, comparable and codable; read-only once built.
class FilesPage {
 public:
  explicit FilesPage(std::vector<File> files, std::optional<std::string> nextPageToken);

  const std::vector<File>& files() const& { return files_; }
  std::vector<File> files() && { return std::move(files_); }
  /// What to ask the next page with; absent on the last page.
  const std::optional<std::string>& nextPageToken() const { return nextPageToken_; }

  /// Errors: the encoder's, unchanged.
  void encode(Encoder& encoder) const;
  /// Errors: the decoder's, unchanged; nothing partial is returned.
  static FilesPage decode(const Decoder& decoder);
  friend bool operator==(const FilesPage& left, const FilesPage& right);

 private:
  friend struct RecordTable;
  static constexpr auto table() {
    return std::tuple(recordField("files", &FilesPage::files_),
                      recordField("nextPageToken", &FilesPage::nextPageToken_));
  }

  std::vector<File> files_;
  std::optional<std::string> nextPageToken_;
};

}  // namespace corvane
