#pragma once

#include <Corvane/About.hpp>
#include <Corvane/FilesPage.hpp>
#include <Corvane/Void.hpp>

#include "DriveLog.hpp"
#include "DriveRequest.hpp"

#include <optional>
#include <string>

// What differs between the four operations: query, log lines and conversion of the answer.
namespace corvane {

DriveRequest<About> aboutRequest(DriveLog log);
DriveRequest<FilesPage> filesPageRequest(DriveLog log, std::optional<std::string> pageToken);
/// Writes log nothing, ask for nothing back and ignore what comes.
DriveRequest<Void> deleteRequest(std::string fileId);
DriveRequest<Void> trashRequest(std::string fileId);

}  // namespace corvane
