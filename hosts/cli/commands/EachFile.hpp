#pragma once

#include "../Context.hpp"
#include "../ExitCode.hpp"

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/Void.hpp>

#include <functional>
#include <string>
#include <vector>

namespace corvane::cli {

/// Something done to one file after the other.
struct FileAction {
  std::function<AnyPublisher<Void>(const std::string& fileID)> start;
  std::string verb;     // "move {} to the trash", the ID standing for {}
  std::string done;     // "Moved {} to the trash"
  std::string jsonKey;  // "trashed"
};

/// Goes on after a failure, and answers with the first failure's exit code. Stops with a Failure
/// that names the files not touched when what is done can no longer be told.
ExitCode forEachFile(const Context& context, const std::vector<std::string>& fileIDs,
                     const FileAction& action);

}  // namespace corvane::cli
