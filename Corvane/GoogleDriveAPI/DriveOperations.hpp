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

DriveOperationPointer<About> aboutOperation(DriveLog log);
DriveOperationPointer<FilesPage> filesPageOperation(DriveLog log, std::optional<std::string> pageToken);
/// Writes log nothing, ask for nothing back and ignore what comes.
DriveOperationPointer<Void> deleteOperation(std::string fileId);
DriveOperationPointer<Void> trashOperation(std::string fileId);

}  // namespace corvane
