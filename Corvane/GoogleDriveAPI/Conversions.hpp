#pragma once

#include <Corvane/About.hpp>
#include <Corvane/File.hpp>
#include <CorvanePlatform/DriveObjects.hpp>

#include <optional>
#include <vector>

// From the REST client's objects to the module's records.
namespace corvane {

/// Nothing when any part is absent: a user without a photo or a quota without a limit makes no About.
std::optional<About> convertAbout(GTLRDrive_About object);

/// Those that convert, in their order: a file without identifier, type, name or one of its times does not. Each text is
/// copied once.
std::vector<File> convertFiles(const GTLRDrive_Files& objects);

}  // namespace corvane
