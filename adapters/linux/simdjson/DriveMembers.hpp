#pragma once

#include <DriveParser.hpp>

#include <simdjson.h>

// Which members of Drive's objects are read, and as what.
namespace corvane {

void readAbout(GTLRDrive_About& about, const simdjson::dom::object& source);
/// False when the list has more entries than a page can have.
bool readFileList(GTLRDrive_FileList& list, const simdjson::dom::object& source, std::size_t maximumFiles);
void readError(DriveErrorObject& error, const simdjson::dom::object& source);

}  // namespace corvane
