#include <CorvaneLinux/LinuxPlatform.hpp>
#include <CorvaneLinux/SystemPresenter.hpp>

#include "OwnProcess.hpp"
#include "asio/AsioQueues.hpp"
#include "curl/CurlNetwork.hpp"
#include "curl/RequestTarget.hpp"
#include "drive/RESTDriveService.hpp"
#include "libsecret/SecretServiceKeychain.hpp"
#include "nlohmann/NlohmannJSON.hpp"
#include "oauth/BrowserSignInService.hpp"
#include "oauth/JSONSessionArchive.hpp"
#include "simdjson/SIMDJSONDriveParser.hpp"
#include "spdlog/SpdlogLog.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"

#include <Corvane/AnyError.hpp>

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

namespace corvane {

namespace {

constexpr const char* userAgent = "Corvane/" CORVANE_VERSION " (gzip)";

// The pieces of one platform. Every reference that a host gets keeps all of them, so that they end together.
struct Pieces {
  std::shared_ptr<void> lifetime;  // goes last
  std::shared_ptr<Lumark> log;
  LinuxQueues queues;
  std::shared_ptr<Keychain> keychain;
  std::shared_ptr<CurlNetwork> network;
  std::shared_ptr<HTTPClient> oauthClient;  // token requests; Drive's connections are each service's own
  std::shared_ptr<const JSONSessionArchive> sessionArchive;
  std::shared_ptr<const DriveParser> parser;
  std::shared_ptr<const JSON> json;
  SignInEnvironment signIn;
};

[[noreturn]] void refuse(const char* option, const std::string& why) {
  UserInfo userInfo;
  userInfo.emplace(NSLocalizedDescriptionKey, std::string(option) + ": " + why);
  throw AnyError(NSError("Corvane.LinuxPlatform", 1, std::move(userInfo)));
}

void requireEndpoint(const char* option, const std::string& url) {
  HTTPRequest request;
  request.method = "GET";
  request.url = url;
  auto target = RequestTarget::vet(request);
  if (!target) refuse(option, std::move(target).error().localizedDescription());
}

// libcurl takes nothing for "no limit", or for a default of its own.
void requireLimits(const HTTPLimits& limits) {
  if (limits.connect.count() <= 0) refuse("limits.connect", "The limit must be longer than nothing.");
  if (limits.stall.count() <= 0) refuse("limits.stall", "The limit must be longer than nothing.");
  if (limits.stallBytesPerSecond <= 0) refuse("limits.stallBytesPerSecond", "The limit must be above zero.");
  if (limits.idleConnection.count() <= 0)
    refuse("limits.idleConnection", "The limit must be longer than nothing.");
}

// A folder that is not used would hide where sessions really are.
void requireKeychainChoice(const LinuxPlatformOptions& options) {
  if (!options.keychainFolder.empty() && options.keychainBackend != KeychainBackend::encryptedFile)
    refuse("keychainFolder", "A folder is for KeychainBackend::encryptedFile only.");
}

void requireSignInChoice(const LinuxPlatformOptions& options) {
  if (options.onlyThisAccount && options.loginHint.empty())
    refuse("onlyThisAccount", "The account must be named in loginHint.");
  if (options.signInTimeout.count() < 0) refuse("signInTimeout", "The time must not be negative.");
}

void requireValid(const LinuxPlatformOptions& options) {
  requireEndpoint("google.drive", options.google.drive);
  requireEndpoint("google.authorization", options.google.authorization);
  requireEndpoint("google.token", options.google.token);
  requireLimits(options.limits);
  requireKeychainChoice(options);
  requireSignInChoice(options);
}

const LogCategory keychainLog("Keychain");

auto problemTeller(const LinuxPlatformOptions& options, std::shared_ptr<Lumark> log, const char* source) {
  return [tell = options.onKeychainProblem, log = std::move(log), source](const std::string& sentence) {
    log->logError(
        keychainLog, [&sentence] { return sentence; }, 0, true, source);
    if (tell) tell(sentence);
  };
}

void tellChoice(Lumark& log, const char* choice) {
  log.logExtended(
      keychainLog, [choice] { return std::string("Sessions are kept in ") + choice + "."; }, 0, true,
      "adapters/linux/LinuxPlatform");
}

std::shared_ptr<Keychain> makeKeychain(const LinuxPlatformOptions& options,
                                       const std::shared_ptr<Lumark>& log) {
  if (options.keychain) {
    tellChoice(*log, "a keychain of the host's own");
    return options.keychain;
  }
  if (options.keychainBackend == KeychainBackend::encryptedFile) {
    tellChoice(*log, "the encrypted file");
    return std::make_shared<EncryptedFileKeychain>(options.keychainFolder,
                                                   problemTeller(options, log, "adapters/linux/sqlite"));
  }
  tellChoice(*log, "the desktop's keyring (Secret Service)");
  return std::make_shared<SecretServiceKeychain>(problemTeller(options, log, "adapters/linux/libsecret"),
                                                 SecretServiceLimits{}, std::chrono::steady_clock::now,
                                                 options.stopAsking);
}

void printSignInURL(const std::string& url) {
  std::fprintf(stderr, "No browser could be opened. To sign in, open this address in one browser:\n%s\n",
               url.c_str());
}

std::shared_ptr<const Pieces> makePieces(LinuxPlatformOptions options) {
  requireValid(options);
  auto pieces = std::make_shared<Pieces>();
  pieces->lifetime = std::move(options.lifetime);
  pieces->log = options.log ? std::move(options.log) : std::make_shared<SpdlogLog>(options.logLevel);
  pieces->queues = makeLinuxQueues();
  pieces->keychain = makeKeychain(options, pieces->log);
  pieces->network = std::make_shared<CurlNetwork>(
      CurlNetwork::Options{options.limits, options.extraCAFile, userAgent, pieces->queues.userInitiated});
  pieces->oauthClient = pieces->network->makeClient();
  pieces->sessionArchive = std::make_shared<const JSONSessionArchive>(
      pieces->oauthClient, pieces->queues.userInitiated, systemInstant, options.google);
  pieces->parser = std::make_shared<const SIMDJSONDriveParser>();
  pieces->json = std::make_shared<const NlohmannJSON>();
  pieces->signIn.google = std::move(options.google);
  pieces->signIn.loginHint = std::move(options.loginHint);
  pieces->signIn.onlyThisAccount = options.onlyThisAccount;
  pieces->signIn.timeout = options.signInTimeout;
  pieces->signIn.presenter =
      options.presenter ? std::move(options.presenter) : makeSystemPresenter(printSignInURL);
  pieces->signIn.http = pieces->oauthClient;
  pieces->signIn.pool = pieces->queues.userInitiated;
  return pieces;
}

Platform platformOf(const std::shared_ptr<const Pieces>& pieces) {
  Platform platform;
  platform.keychain = {pieces, pieces->keychain.get()};
  platform.sessionArchive = {pieces, pieces->sessionArchive.get()};
  platform.makeDriveService = [pieces] {
    return std::make_shared<RESTDriveService>(pieces->network->makeClient(), pieces->parser,
                                              pieces->queues.userInitiated, pieces->signIn.google.drive);
  };
  platform.makeSignInService = [pieces](const QVTessoraCredentials& credentials, const URL& successURL) {
    return std::make_shared<BrowserSignInService>(credentials, successURL, pieces->signIn);
  };
  platform.log = {pieces, pieces->log.get()};
  platform.userInitiatedQueue = {pieces, pieces->queues.userInitiated.get()};
  platform.taskPool = {pieces, pieces->queues.taskPool.get()};
  platform.json = {pieces, pieces->json.get()};
  return platform;
}

}  // namespace

Platform makeLinuxPlatform(LinuxPlatformOptions options) {
  return platformOf(makePieces(std::move(options)));
}

Platform systemPlatform() {
  static std::mutex mutex;
  static std::weak_ptr<const Pieces> shared;
  static OwnProcess process;
  const std::lock_guard guard(mutex);
  auto pieces = shared.lock();
  if (!pieces || process.isAnother()) shared = pieces = makePieces({});
  process.remember();
  return platformOf(pieces);
}

}  // namespace corvane
