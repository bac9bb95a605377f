#pragma once

#include <Corvane/Data.hpp>
#include <CorvanePlatform/DriveObjects.hpp>

namespace corvane {

/// The JSON object of a file's present members, as files.update wants it.
Data fileBody(const GTLRDrive_File& file);

}  // namespace corvane
