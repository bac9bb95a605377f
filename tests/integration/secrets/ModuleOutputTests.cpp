#include "Outputs.hpp"
#include "flows/FlowFixture.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

namespace corvane::test {
namespace {

using emulator::Fault;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// Passes a sign-in page on to the browser and keeps its own address.
class NotingPresenter final : public Presenter {
 public:
  explicit NotingPresenter(std::shared_ptr<Presenter> browser) : browser_(std::move(browser)) {}
  std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                       UniqueFunction<void()> dismissed) override {
    return browser_->present(url, window, std::move(dismissed));
  }
  std::shared_ptr<Cancellable> presentLink(const SignInLink& link, const WindowHandle& window,
                                           UniqueFunction<void()> dismissed) override {
    urls.push_back(link.page);
    return browser_->presentLink(link, window, std::move(dismissed));
  }
  std::vector<std::string> urls;

 private:
  std::shared_ptr<Presenter> browser_;
};

std::string parameter(const std::string& url, const std::string& name) {
  const auto start = url.find(name);
  if (start == std::string::npos) return {};
  const auto from = start + name.size();
  return url.substr(from, url.find('&', from) - from);
}

class ModuleOutputs : public FlowTest {
 protected:
  CorvaneFactory makeNotingFactory() {
    LinuxPlatformOptions linux;
    linux.google = GoogleEndpoints::at(google.baseURL());
    linux.keychainBackend = KeychainBackend::encryptedFile;
    linux.keychainFolder = folder.path() / "keychain";
    linux.presenter = presenter;
    linux.loginHint = "ada@example.com";
    linux.log = log;
    Platform platform = makeLinuxPlatform(std::move(linux));
    platform.userInitiatedQueue = std::make_shared<ImpatientQueue>(platform.userInitiatedQueue);
    return CorvaneFactory(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "flows", "", [] { return WindowHandle::terminal(); }, std::move(platform));
  }

  template <class Operation>
  void expectFailure(const std::string& what, Operation operation) {
    const auto error = failureOf(operation);
    ASSERT_TRUE(error) << what;
    outputs.add("error of " + what, error->nsError());
    outputs.add("text of " + what, error->what());
  }

  /// An answer that quotes the token it was sent, as a careless server might.
  Fault quotingFault(int status) const {
    Fault fault = Fault::content(R"({"error":{"code":)" + std::to_string(status) +
                                     R"(,"message":"You sent )" + lastAccessToken() + R"("}})",
                                 "application/json");
    fault.status = status;
    return fault;
  }
  std::string lastAccessToken() const {
    const auto secrets = google.secrets();
    const auto found = std::find_if(secrets.rbegin(), secrets.rend(),
                                    [](const std::string& secret) { return secret.starts_with("ya29."); });
    return found == secrets.rend() ? std::string() : *found;
  }
  std::string lastRefreshToken() const {
    const auto secrets = google.secrets();
    const auto found = std::find_if(secrets.rbegin(), secrets.rend(),
                                    [](const std::string& secret) { return secret.starts_with("1//"); });
    return found == secrets.rend() ? std::string() : *found;
  }
  static Fault tokenRefusal(const std::string& quoted) {
    Fault fault = Fault::content(
        R"({"error":"invalid_request","error_description":"Unknown )" + quoted + R"("})", "application/json");
    fault.status = 400;
    return fault;
  }

  void collect() {
    for (const auto& line : log->lines())
      outputs.add("log", line.category + " " + line.message + " " + line.file);
    // The authorization page's request is the sign-in URL, seen from the other side.
    for (const auto& entry : google.journal().entries())
      outputs.add(entry.operation == "auth" ? "sign-in URL" : "URLs of requests", entry.target);
    // The journal shows a secret under its usual name by a digest only, so the names must not be there either.
    for (const auto& entry : google.journal().entries())
      for (const char* name :
           {"access_token=", "refresh_token=", "code_verifier=", "client_secret=", "&code=", "?code="})
        EXPECT_THAT(entry.target, Not(HasSubstr(name))) << entry.operation;
    for (const auto& url : presenter->urls) outputs.add("sign-in URL", url);
  }

  void expectClean() {
    collect();
    auto secrets = google.secrets();
    ASSERT_THAT(secrets, Contains(HasSubstr("ya29.")));
    ASSERT_THAT(secrets, Contains(HasSubstr("1//0")));
    ASSERT_THAT(secrets, Contains(HasSubstr("4/0A")));
    ASSERT_GE(secrets.size(), 5u) << "no verifier was noted";
    secrets.emplace_back("corvane-demo-secret");
    secrets.emplace_back("eyJhbGciOiJ");  // how every id_token begins
    std::ifstream file(folder.path() / "keychain" / "keychain.key", std::ios::binary);
    secrets.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    ASSERT_EQ(secrets.back().size(), 32u);
    for (const auto& secret : secrets)
      EXPECT_THAT(outputs.placesOf(secret), IsEmpty()) << "beginning with " << secret.substr(0, 8);

    for (const auto& url : presenter->urls) {
      for (const char* name : {"&state=", "&nonce=", "&code_challenge="}) {
        const std::string value = parameter(url, name);
        ASSERT_GE(value.size(), 22u) << name;
        EXPECT_THAT(outputs.placesOf(value), ElementsAre("sign-in URL")) << name;
      }
    }
  }

  std::shared_ptr<NotingPresenter> presenter = std::make_shared<NotingPresenter>(browser);
  Outputs outputs;
};

TEST(OutputsTest, FindSecretsInEveryForm) {
  Outputs outputs;
  outputs.add("plain", "x ya29.a/b+secret y");
  outputs.add("percent-encoded in capitals", "?t=ya29.a%2Fb%2Bsecret");
  outputs.add("hexadecimal", "796132392e612f622b736563726574");
  outputs.add("base64", "eXlhMjkuYS9iK3NlY3JldHk=");
  outputs.add("error", NSError("D", 1, {{"list", UserInfoValue(UserInfoValue::List{"ya29.a/b+secret"})}}));
  outputs.add("clean", "ya29.");
  EXPECT_THAT(outputs.placesOf("ya29.a/b+secret"),
              ElementsAre("base64", "error", "hexadecimal", "percent-encoded in capitals", "plain"));
}

TEST_F(ModuleOutputs, HoldNoSecretWhateverSucceedsOrFails) {
  auto factory = makeNotingFactory();
  const auto ada = signIn(factory);
  const auto drive = factory.makeAPI(ada);
  const auto files = everyFile(*drive);
  get(drive->getAbout());
  google.expireTokens();
  get(drive->getAbout());
  get(drive->moveToTrash(files[0].id));
  get(drive->deleteFile(files[1].id));

  for (const int status : {400, 403, 404}) {
    google.faults().add("about", quotingFault(status));
    expectFailure("an answer of " + std::to_string(status), [&] { get(drive->getAbout()); });
  }
  google.faults().add("files.list", quotingFault(503), 5);
  expectFailure("a listing that never succeeds", [&] { get(drive->getFilesPage(std::nullopt)); });
  google.faults().add("files.list", Fault::content("<html>" + lastAccessToken()));
  expectFailure("a captive portal", [&] { get(drive->getFilesPage(std::nullopt)); });
  google.faults().add("files.list", Fault::closeAfterBodyBytes(10), 5);
  expectFailure("a lost connection", [&] { get(drive->getFilesPage(std::nullopt)); });
  google.faults().add("files.update", Fault::error(403, "insufficientFilePermissions"));
  expectFailure("a refused trashing", [&] { get(drive->moveToTrash(files[2].id)); });
  expectFailure("the deletion of a file that is gone", [&] { get(drive->deleteFile(files[1].id)); });

  google.expireTokens();
  google.faults().add("token", tokenRefusal(lastRefreshToken()));
  expectFailure("a refused refresh", [&] { get(drive->getAbout()); });
  google.revokeAll();
  expectFailure("a revoked grant", [&] { get(drive->getAbout()); });

  for (const auto& fault : {tokenRefusal("corvane-demo-secret"),
                            Fault::content(R"({"access_token":")" + lastAccessToken() + R"("})")}) {
    google.faults().add("token", fault);
    expectFailure("a refused sign-in", [&] { signIn(factory); });
  }
  google.setIDTokenClaims(R"({"nonce":"another"})");
  expectFailure("a sign-in with another's id_token", [&] { signIn(factory); });
  google.setIDTokenClaims("{}");

  get(factory.makeAuthorizationProvider(nullptr)->signOut(ada));
  signIn(factory);
  expectClean();
  EXPECT_GE(log->lines().size(), 15u) << "the log was not at its most verbose";
}

TEST_F(ModuleOutputs, HoldNoSecretWhenTheKeychainFails) {
  auto factory = makeNotingFactory();
  const auto ada = signIn(factory);
  const auto key = folder.path() / "keychain" / "keychain.key";
  const auto aside = folder.path() / "key-put-aside";
  std::filesystem::rename(key, aside);
  expectFailure("reading without the key", [&] { get(factory.makeAPI(ada)->getAbout()); });
  expectFailure("listing accounts without the key",
                [&] { get(factory.makeAccountProvider()->getAccounts()); });
  expectFailure("saving without the key", [&] { signIn(factory); });
  expectFailure("signing out without the key",
                [&] { get(factory.makeAuthorizationProvider(nullptr)->signOut(ada)); });
  std::filesystem::rename(aside, key);
  std::filesystem::permissions(folder.path() / "keychain", std::filesystem::perms::all);
  expectFailure("a folder that is open to others",
                [&] { get(factory.makeAccountProvider()->getAccounts()); });
  std::filesystem::permissions(folder.path() / "keychain", std::filesystem::perms::owner_all);
  expectClean();
}

}  // namespace
}  // namespace corvane::test
