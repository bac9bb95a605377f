#pragma once

#include "DriveFixture.hpp"

#include <Corvane/Get.hpp>
#include <Corvane/GoogleDriveAPI.hpp>
#include <Corvane/GoogleDriveAPIError.hpp>

#include "support/ErrorMatchers.hpp"
#include "support/FakeLog.hpp"
#include "support/ImpatientQueue.hpp"

#include <vector>

namespace corvane::test {

/// The Drive API as a host has it, over the real REST client, network, parser and queues, against an emulator. Its
/// retry delays are over at once; they are kept to be looked at.
class APIFixture : public DriveFixture {
 protected:
  APIFixture() : api(makeAPI()) {}

  std::shared_ptr<GoogleDriveAPI> makeAPI() {
    Platform platform;
    platform.log = log;
    platform.userInitiatedQueue = impatient;
    platform.taskPool = impatient;
    return std::make_shared<GoogleDriveAPI>(GoogleDriveAccountModel(ada), nullptr, platform,
                                            [this] { return makeService(); });
  }

  void useLimits(const HTTPLimits& limits) {
    network = std::make_shared<CurlNetwork>(
        CurlNetwork::Options{limits, "", "Corvane/test (gzip)", queues.userInitiated});
    api = makeAPI();
  }

  FilesPage firstPage() { return get(api->getFilesPage(std::nullopt)); }

  /// One of Ada's own files, which is neither trashed nor deleted yet.
  std::string someFile() { return firstPage().files().front().id; }

  /// The error is looked at for secrets, and so is everything logged.
  template <class Operation>
  std::optional<AnyError> failureOf(Operation operation) {
    const auto error = errorOf(operation);
    if (error) {
      expectNoSecrets(error->what());
      const NSError seen = error->nsError();
      for (const auto& [key, value] : seen.userInfo()) expectNoSecrets(value.description());
    }
    for (const auto& line : log->messages()) expectNoSecrets(line);
    return error;
  }

  void expectNoSecrets(const std::string& text) const {
    for (const auto& secret : {session->token(), std::string("ya29."), std::string("Bearer"),
                               std::string("fields="), std::string("corporate")})
      EXPECT_THAT(text, testing::Not(testing::HasSubstr(secret)));
  }

  std::shared_ptr<FakeLog> log = std::make_shared<FakeLog>();
  std::shared_ptr<ImpatientQueue> impatient = std::make_shared<ImpatientQueue>(queues.userInitiated);
  std::shared_ptr<GoogleDriveAPI> api;
};

/// Matches the error of a files.list whose request failed with this domain and code.
MATCHER_P2(IsListingError, domain, code, "") {
  const NSError error = arg.nsError();
  *result_listener << "which is [" << error.domain() << " " << error.code() << "] "
                   << error.localizedDescription();
  if (error.domain() != "GoogleDriveAPIRequestError" || !error.underlyingError()) return false;
  const NSError underlying = error.underlyingError()->nsError();
  return underlying.domain() == domain && underlying.code() == code && error.code() == code;
}

}  // namespace corvane::test
