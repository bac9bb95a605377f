#include "EachFile.hpp"

#include "../Failure.hpp"
#include "../Pending.hpp"
#include "../present/Escape.hpp"
#include "../present/JSONLines.hpp"

namespace corvane::cli {
namespace {

std::string filled(std::string pattern, const std::string& fileID) {
  return pattern.replace(pattern.find("{}"), 2, fileID);
}

void tellDone(const Context& context, const std::string& fileID, const FileAction& action) {
  context.out.line(context.options.json ? jsonObject([&](KeyedEncodingContainer& object) {
    object.encode(std::string_view(fileID), CodingKey("id"));
    object.encode(true, CodingKey(action.jsonKey));
  })
                                        : filled(action.done, escapedName(fileID)));
  context.out.flush();  // what is done is told before the next file is touched
}

}  // namespace

ExitCode forEachFile(const Context& context, const std::vector<std::string>& fileIDs,
                     const FileAction& action) {
  ExitCode result = ExitCode::ok;
  for (const auto& fileID : fileIDs) {
    try {
      await(action.start(fileID), context.interrupt);
      tellDone(context, fileID, action);
    } catch (const AnyError& error) {
      const auto failure = Failure::of(error, filled(action.verb, fileID), context.options.keychain, fileID);
      context.report(failure);
      if (result == ExitCode::ok) result = failure.exitCode;
    } catch (const Interrupted&) {
      context.note("Interrupted: whether Google still managed to " + filled(action.verb, fileID) +
                   " is not known.");
      throw;
    }
  }
  return result;
}

}  // namespace corvane::cli
