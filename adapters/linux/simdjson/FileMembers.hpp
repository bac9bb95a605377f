#pragma once

#include <CorvanePlatform/DriveObjects.hpp>

#include <simdjson.h>

namespace corvane {

/// Reads the members of one file, the object that a long listing has by the hundred thousand. The first of two
/// members of one name counts, also when it is of the wrong kind.
void readFile(GTLRDrive_File& file, const simdjson::dom::object& source);

}  // namespace corvane
