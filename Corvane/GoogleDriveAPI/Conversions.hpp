#pragma once

#include <Corvane/About.hpp>
#include <Corvane/File.hpp>
#include <CorvanePlatform/DriveObjects.hpp>

#include <optional>
#include <vector>

// From the REST client's objects to the module's records. Texts are moved out of the objects.
namespace corvane {

/// Nothing when any part is absent: a user without a photo or a quota without a limit makes no About.
std::optional<About> convertAbout(GTLRDrive_About object);

/// Nothing when identifier, type, name or one of the times is absent.
std::optional<File> convertFile(GTLRDrive_File object);

/// Those that convert, in their order.
std::vector<File> convertFiles(std::vector<GTLRDrive_File> objects);

}  // namespace corvane
