#include "Commands.hpp"
#include "EachFile.hpp"

#include "../SignedInAccounts.hpp"

namespace corvane::cli {

ExitCode run(const Context& context, const TrashOptions& options) {
  const auto api = context.factory.makeAPI(chosenAccount(context, options.account));
  return forEachFile(context, options.fileIDs,
                     {[&api](const std::string& fileID) { return api->moveToTrash(fileID); },
                      "move {} to the trash", "Moved {} to the trash", "trashed"});
}

}  // namespace corvane::cli
