#pragma once

#include <Corvane/About.hpp>
#include <Corvane/FilesPage.hpp>
#include <Corvane/Void.hpp>

#include "DriveLog.hpp"
#include "DriveOperation.hpp"

#include <optional>
#include <string>

// What differs between the four operations: query, log lines and conversion of the answer.
namespace corvane {

DriveOperation<About> aboutOperation(DriveLog log);
DriveOperation<FilesPage> filesPageOperation(DriveLog log, std::optional<std::string> pageToken);
/// Writes log nothing, ask for nothing back and ignore what comes.
DriveOperation<Void> deleteOperation(std::string fileId);
DriveOperation<Void> trashOperation(std::string fileId);

}  // namespace corvane
