#include "SIMDJSONDriveParser.hpp"

#include "DriveMembers.hpp"
#include "FileMembers.hpp"
#include "ParserPool.hpp"

namespace corvane {

SIMDJSONDriveParser::SIMDJSONDriveParser() : parsers_(std::make_unique<ParserPool>()) {}
SIMDJSONDriveParser::~SIMDJSONDriveParser() = default;

std::optional<GTLRDrive_About> SIMDJSONDriveParser::about(const Data& body) const {
  auto document = parsers_->document();
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  std::optional<GTLRDrive_About> about(std::in_place);
  readAbout(*about, *top);
  return about;
}

std::optional<GTLRDrive_FileList> SIMDJSONDriveParser::fileList(const Data& body) const {
  auto document = parsers_->document();
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  std::optional<GTLRDrive_FileList> list(std::in_place);
  if (!readFileList(*list, *top, maximumFiles)) return std::nullopt;
  return list;
}

std::optional<GTLRDrive_File> SIMDJSONDriveParser::file(const Data& body) const {
  auto document = parsers_->document();
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  std::optional<GTLRDrive_File> file(std::in_place);
  readFile(*file, *top);
  return file;
}

std::optional<DriveErrorObject> SIMDJSONDriveParser::error(const Data& body) const {
  auto document = parsers_->document();
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  simdjson::dom::object source;
  if (top->at_key("error").get(source)) return std::nullopt;
  std::optional<DriveErrorObject> error(std::in_place);
  readError(*error, source);
  return error;
}

}  // namespace corvane
