#include "Commands.hpp"
#include "EachFile.hpp"

#include "../Failure.hpp"
#include "../SignedInAccounts.hpp"

namespace corvane::cli {

ExitCode run(const Context& context, const RmOptions& options) {
  if (!options.permanently)
    throw Failure::usage("`rm` deletes files for good and wants to be told so: add --permanently.",
                         "To be able to bring them back, use `corvane trash` instead.");
  const auto api = context.factory.makeAPI(chosenAccount(context, options.account));
  return forEachFile(context, options.fileIDs,
                     {[&api](const std::string& fileID) { return api->deleteFile(fileID); }, "delete {}",
                      "Deleted {} for good", "deleted"});
}

}  // namespace corvane::cli
