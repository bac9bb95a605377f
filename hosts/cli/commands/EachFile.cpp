#include "EachFile.hpp"

#include "../Failure.hpp"
#include "../Pending.hpp"
#include "../present/Escape.hpp"
#include "../present/JSONLines.hpp"

#include <span>

namespace corvane::cli {
namespace {

std::string filled(std::string pattern, const std::string& fileID) {
  return pattern.replace(pattern.find("{}"), 2, fileID);
}

void tellDone(const Context& context, const std::string& fileID, const FileAction& action) {
  // What is done is told before the next file is touched.
  context.out.lineOfDeed(context.options.json ? jsonObject([&](KeyedEncodingContainer& object) {
    object.encode(std::string_view(fileID), CodingKey("id"));
    object.encode(true, CodingKey(action.jsonKey));
  })
                                              : filled(action.done, escapedName(fileID)));
}

ExitCode tellFailure(const Context& context, const AnyError& error, const std::string& fileID,
                     const FileAction& action) {
  const auto failure =
      Failure::of(error, filled(action.verb, fileID), context.options.keychain, fileID);
  context.report(failure);
  return failure.exitCode;
}

std::string untouched(std::span<const std::string> fileIDs) {
  std::string names;
  for (const auto& fileID : fileIDs) names += (names.empty() ? "" : ", ") + fileID;
  return fileIDs.empty() ? "" : "Not touched: " + names + ".";
}

}  // namespace

ExitCode forEachFile(const Context& context, const std::vector<std::string>& fileIDs,
                     const FileAction& action) {
  ExitCode result = ExitCode::ok;
  std::span<const std::string> rest = fileIDs;
  while (!rest.empty()) {
    const std::string& fileID = rest.front();
    rest = rest.subspan(1);
    try {
      await(action.start(fileID), context.interrupt);
    } catch (const AnyError& error) {
      const ExitCode code = tellFailure(context, error, fileID, action);
      if (result == ExitCode::ok) result = code;
      continue;
    } catch (const Interrupted&) {
      Failure failure = Failure::interrupted();
      failure.headline =
          "Interrupted: whether Google still managed to " + filled(action.verb, fileID) + " is not known.";
      failure.why = untouched(rest);
      failure.fileID = fileID;
      throw failure;
    }
    try {
      tellDone(context, fileID, action);
    } catch (Failure& failure) {
      if (!rest.empty()) failure.why += " " + untouched(rest);
      throw;
    } catch (const OutputClosed&) {
      if (rest.empty()) break;
      Failure failure;
      failure.kind = "output";
      failure.headline = "Stopped, because the reader of the output is gone.";
      failure.why = "The last file done is " + fileID + ". " + untouched(rest);
      throw failure;
    }
  }
  return result;
}

}  // namespace corvane::cli
