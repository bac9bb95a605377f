#pragma once

#include <DriveParser.hpp>

#include <memory>

namespace corvane {

class ParserPool;

/// The Drive parser on simdjson.
///
/// A whole document is checked before anything is read from it: cut-off bodies, bad UTF-8 and nesting beyond 1,024
/// levels are refused. A lone surrogate becomes U+FFFD, and a number beyond 64 bits counts as absent (JSONRepair.hpp).
/// Memory for parsing is kept from one page to the next.
class SIMDJSONDriveParser final : public DriveParser {
 public:
  /// More entries than this in one list make the document refused: a page has at most 1,000 (files.list,
  /// `pageSize`), and each entry takes far more memory than its few bytes in a hostile body.
  static constexpr std::size_t maximumFiles = 100'000;

  SIMDJSONDriveParser();
  ~SIMDJSONDriveParser() override;

  std::optional<GTLRDrive_About> about(const Data& body) const override;
  std::optional<GTLRDrive_FileList> fileList(const Data& body) const override;
  std::optional<GTLRDrive_File> file(const Data& body) const override;
  std::optional<DriveErrorObject> error(const Data& body) const override;

 private:
  std::shared_ptr<ParserPool> parsers_;
};

}  // namespace corvane
