#pragma once

#include <CorvaneEmulator/Options.hpp>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Message.hpp"
#include "drive/DriveParameters.hpp"
#include "drive/FileRenderer.hpp"
#include "drive/FileSet.hpp"
#include "drive/PageCache.hpp"
#include "oauth/Grants.hpp"

namespace corvane::emulator {

/// Drive v3: about, files.list, files.get, files.update (trash only), files.delete.
class DriveService {
 public:
  DriveService(const Options& options, Grants& grants);

  Response handle(std::string_view operation, const Request& request);
  /// How many files of the account match; throws std::invalid_argument for an unknown account.
  std::uint64_t count(const std::string& email, const FileQuery& query) const;
  /// The id of the n-th file of the account, whether or not it still exists.
  std::string fileID(const std::string& email, std::uint64_t index) const;

 private:
  struct Drive {
    Drive(const Account& accountOf, const Options& options);
    Account account;
    User user;
    FileSet files;
    std::optional<std::pair<std::int64_t, std::int64_t>> usage;  ///< all and trash; computed when asked for
  };
  /// A request that may be served.
  struct Call {
    const Request& request;
    Drive& drive;
    bool seesAll;  ///< false when the scope covers only files of this app, of which there are none
  };

  Call authorize(std::string_view operation, const Request& request);
  Response perform(std::string_view operation, const Call& call);
  Response about(const Call& call);
  Response list(const Call& call);
  Response get(const Call& call);
  Response update(const Call& call);
  Response remove(const Call& call);

  void writeQuota(JSONWriter& writer, Drive& drive);
  std::string renderPage(const Call& call, const DriveParameters& parameters);
  std::string renderFile(const Call& call, const DriveParameters& parameters, std::uint64_t index);
  std::uint64_t target(const Call& call) const;
  const Drive& drive(const std::string& email) const;

  std::uint64_t seed_;
  Grants& grants_;
  mutable std::mutex mutex_;
  std::map<std::string, Drive> drives_;
  PageCache cache_;
};

}  // namespace corvane::emulator
