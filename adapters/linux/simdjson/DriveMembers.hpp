#pragma once

#include <DriveParser.hpp>

#include <simdjson.h>

// Which members of Drive's objects are read, and as what.
namespace corvane {

void readAbout(GTLRDrive_About& about, const simdjson::dom::object& source);

/// A list of files as it stands in its document.
struct FileListMembers {
  std::optional<std::string> nextPageToken;
  std::optional<simdjson::dom::array> files;
};
FileListMembers readFileList(const simdjson::dom::object& source);

void readError(DriveErrorObject& error, const simdjson::dom::object& source);

}  // namespace corvane
