#include "SIMDJSONDriveParser.hpp"

#include "DocumentFiles.hpp"
#include "DriveMembers.hpp"
#include "FileMembers.hpp"
#include "ParserPool.hpp"

namespace corvane {

SIMDJSONDriveParser::SIMDJSONDriveParser() : parsers_(std::make_shared<ParserPool>()) {}
SIMDJSONDriveParser::~SIMDJSONDriveParser() = default;

std::optional<GTLRDrive_About> SIMDJSONDriveParser::about(const Data& body) const {
  auto document = ParserPool::document(parsers_);
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  std::optional<GTLRDrive_About> about(std::in_place);
  readAbout(*about, *top);
  return about;
}

std::optional<GTLRDrive_FileList> SIMDJSONDriveParser::fileList(const Data& body) const {
  auto document = ParserPool::document(parsers_);
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  auto members = readFileList(*top);
  if (members.files && members.files->size() > maximumFiles) return std::nullopt;
  std::optional<GTLRDrive_FileList> list(std::in_place);
  list->nextPageToken = std::move(members.nextPageToken);
  if (members.files) list->files = std::make_shared<DocumentFiles>(std::move(document), *members.files);
  return list;
}

std::optional<GTLRDrive_File> SIMDJSONDriveParser::file(const Data& body) const {
  auto document = ParserPool::document(parsers_);
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  return copyOf(FileReader().read(*top));
}

std::optional<DriveErrorObject> SIMDJSONDriveParser::error(const Data& body) const {
  auto document = ParserPool::document(parsers_);
  const auto top = document.parse(body);
  if (!top) return std::nullopt;
  simdjson::dom::object source;
  if (top->at_key("error").get(source)) return std::nullopt;
  std::optional<DriveErrorObject> error(std::in_place);
  readError(*error, source);
  return error;
}

}  // namespace corvane
