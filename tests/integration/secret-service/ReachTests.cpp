#include "FaultyKeyring.hpp"
#include "support/UngreetingBus.hpp"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <future>
#include <optional>

// What stands between the program and its keyring.

namespace corvane::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// An environment variable for as long as this lives.
class Variable {
 public:
  Variable(const char* name, const std::optional<std::string>& value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    set(value);
  }
  ~Variable() { set(before_); }

 private:
  void set(const std::optional<std::string>& value) {
    if (value)
      ::setenv(name_, value->c_str(), 1);
    else
      ::unsetenv(name_);
  }
  const char* name_;
  std::optional<std::string> before_;
};

class WithoutBus : public testing::Test {
 protected:
  // Notes that it was called.
  WithoutBus() {
    const auto launcher = folder.path() / "dbus-launch";
    std::ofstream(launcher) << "#!/bin/sh\ntouch " << (folder.path() / "launched").string() << "\nexit 1\n";
    std::filesystem::permissions(launcher, std::filesystem::perms::owner_all);
  }

  OSStatus list() {
    return keychain.SecItemCopyMatching({{std::string(kSecClass), kSecClassGenericPassword}}, nullptr);
  }
  bool busWasLaunched() const { return std::filesystem::exists(folder.path() / "launched"); }

  TemporaryFolder folder;
  Variable path{"PATH", folder.path().string() + ":" + std::getenv("PATH")};
  Variable runtimeFolder{"XDG_RUNTIME_DIR", folder.path().string()};
  std::vector<std::string> problems;
  SecretServiceKeychain keychain{[this](const std::string& sentence) { problems.push_back(sentence); }};
};

TEST_F(WithoutBus, NoneIsStartedAndBothWaysOutAreNamed) {
  const Variable address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  EXPECT_EQ(list(), errSecNotAvailable);
  EXPECT_FALSE(busWasLaunched());
  EXPECT_THAT(problems, ElementsAre(AllOf(HasSubstr("no session bus"), HasSubstr("Start a keyring"),
                                          HasSubstr("encrypted file"))));
}

TEST_F(WithoutBus, AnAddressThatAsksForOneToBeStartedIsNotFollowed) {
  const Variable address("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere;autolaunch:");
  EXPECT_EQ(list(), errSecNotAvailable);
  EXPECT_FALSE(busWasLaunched());
}

TEST_F(WithoutBus, AnAddressThatLeadsNowhereIsNotAvailable) {
  for (const auto* wrong : {"unix:path=/nowhere", "rubbish", "unix:", "tcp:host=127.0.0.1,port=1"}) {
    const Variable address("DBUS_SESSION_BUS_ADDRESS", wrong);
    EXPECT_EQ(list(), errSecNotAvailable) << wrong;
  }
}

TEST_F(WithoutBus, AFileInTheBussPlaceIsNoBus) {
  const Variable address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  std::ofstream(folder.path() / "bus") << "not a socket";
  EXPECT_EQ(list(), errSecNotAvailable);
  EXPECT_FALSE(busWasLaunched());
}

TEST_F(WithoutBus, ABusThatNeverAnswersIsGivenUpAfterTheLimit) {
  const auto place = (folder.path() / "bus").string();
  sockaddr_un socketAddress{};
  socketAddress.sun_family = AF_UNIX;
  ASSERT_LT(place.size(), sizeof socketAddress.sun_path);
  std::memcpy(socketAddress.sun_path, place.c_str(), place.size());
  const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&socketAddress), sizeof socketAddress), 0);
  ASSERT_EQ(::listen(listener, 8), 0);
  const Variable address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  SecretServiceKeychain impatient({}, {.reply = std::chrono::milliseconds(200)});
  EXPECT_EQ(impatient.SecItemCopyMatching({{std::string(kSecClass), kSecClassGenericPassword}}, nullptr),
            errSecNotAvailable);
  ::close(listener);
}

// GDBus itself would wait for 25 seconds.
TEST_F(WithoutBus, ABusThatLetsInButDoesNotGreetIsGivenUpAfterTheLimit) {
  const Variable address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  UngreetingBus bus((folder.path() / "bus").string());
  auto answer = std::async(std::launch::async, [] {
    SecretServiceKeychain impatient({}, {.reply = std::chrono::seconds(1)});
    return impatient.SecItemCopyMatching({{std::string(kSecClass), kSecClassGenericPassword}}, nullptr);
  });
  ASSERT_EQ(answer.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  EXPECT_EQ(answer.get(), errSecNotAvailable);
  EXPECT_TRUE(bus.wasAsked());
  EXPECT_EQ(bus.left().wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST(SecretServiceLimitsTest, AreTenSecondsForAReplyAndTwoMinutesForAPrompt) {
  EXPECT_EQ(SecretServiceLimits().reply, std::chrono::seconds(10));
  EXPECT_EQ(SecretServiceLimits().prompt, std::chrono::seconds(120));
}

using Reach = FaultyKeyringTest;

TEST_F(Reach, ABusWithoutAKeyringServiceIsNotAvailable) {
  EXPECT_EQ(read(keychain(), "ada"), errSecNotAvailable);
  EXPECT_THAT(problems, ElementsAre(AllOf(HasSubstr("no keyring service"), HasSubstr("Start a keyring"),
                                          HasSubstr("encrypted file"))));
}

TEST_F(Reach, TheBusInTheRuntimeFolderIsFoundWithoutAVariable) {
  start();
  const std::string socket = session.run("ls -d $XDG_RUNTIME_DIR/dbus-*");
  session.run("ln -s " + socket.substr(0, socket.find('\n')) + " " + (folder.path() / "bus").string());
  const Variable address("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  const Variable runtimeFolder("XDG_RUNTIME_DIR", folder.path().string());
  EXPECT_EQ(add(keychain(), "ada"), errSecSuccess);
}

TEST_F(Reach, AServiceWithoutADefaultKeyringIsNotAvailable) {
  start("--no-default");
  EXPECT_EQ(read(keychain(), "ada"), errSecNotAvailable);
  EXPECT_EQ(add(keychain(), "ada"), errSecNotAvailable);
  EXPECT_THAT(problems.back(), HasSubstr("no default keyring"));
}

TEST_F(Reach, TheKeyringThatEndsWithTheSessionIsNeverUsed) {
  start("--session-only");
  EXPECT_EQ(add(keychain(), "ada"), errSecNotAvailable);
  EXPECT_EQ(calls("CreateItem"), 0);
}

TEST_F(Reach, AFreshGnomeKeyringWhoseDefaultWasNeverMadeIsNotAvailable) {
  session.run(
      "gnome-keyring-daemon --start --foreground --components=secrets >/dev/null 2>&1 & echo $! "
      ">$HOME/keyring.pid; "
      "until dbus-send --session --print-reply --dest=org.freedesktop.secrets /org/freedesktop/secrets "
      "org.freedesktop.Secret.Service.ReadAlias string:default >/dev/null; do sleep 0.02; done");
  EXPECT_EQ(read(keychain(), "ada"), errSecNotAvailable);
  EXPECT_EQ(add(keychain(), "ada"), errSecNotAvailable);
  EXPECT_THAT(problems.back(), HasSubstr("no default keyring"));
}

TEST_F(Reach, AFrozenServiceIsGivenUpAfterTheLimitAndMeansNeitherLockedNorMissing) {
  start();
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  freeze();
  auto& impatient = keychain(impatientForReplies());
  EXPECT_EQ(read(impatient, "ada"), errSecNotAvailable);
  EXPECT_EQ(add(impatient, "bob"), errSecNotAvailable);
  EXPECT_EQ(remove(impatient, "ada"), errSecNotAvailable);
  EXPECT_THAT(problems.back(), HasSubstr("does not answer"));
}

TEST_F(Reach, AFrozenBusIsGivenUpAfterTheLimit) {
  start();
  const auto process = session.run(
      "dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / "
      "org.freedesktop.DBus.GetConnectionUnixProcessID string:org.freedesktop.DBus | awk '{print $2}'");
  session.run("kill -STOP " + process);
  EXPECT_EQ(read(keychain(impatientForReplies()), "ada"), errSecNotAvailable);
  session.run("kill -CONT " + process);
}

TEST_F(Reach, AServiceThatDiesMidwayIsNotAvailableAndTheNextOneIsUsed) {
  for (const auto* call : {"ReadAlias", "CollectionProperties", "SearchItems", "OpenSession", "CreateItem"}) {
    start(std::string("--die-at ") + call);
    auto& same = keychain();
    EXPECT_EQ(add(same, "ada"), errSecNotAvailable) << call;
    start();
    EXPECT_EQ(add(same, "ada"), errSecSuccess) << call;
  }
}

TEST_F(Reach, AServiceThatDiesWithinAReadIsNotAvailable) {
  for (const auto* call : {"ItemProperties", "GetSecrets"}) {
    start(std::string("--die-at ") + call);
    auto& same = keychain();
    ASSERT_EQ(add(same, "ada"), errSecSuccess);
    EXPECT_EQ(read(same, "ada"), errSecNotAvailable) << call;
    start();
    EXPECT_EQ(read(same, "ada"), errSecItemNotFound) << call;
  }
}

// KWallet refuses one public key in 256.
TEST_F(Reach, SessionThatTheServiceRefusesIsOpenedWithAnotherKey) {
  start("--fail-at OpenSession --fail-times 1");
  EXPECT_EQ(add(keychain(), "ada"), errSecSuccess);
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(Reach, TheServicesOwnReasonIsTold) {
  start("--fail-at OpenSession");
  EXPECT_EQ(add(keychain(), "ada"), errSecNotAvailable);
  EXPECT_THAT(problems, ElementsAre(HasSubstr("maybe libqca-ossl is missing")));
}

TEST_F(Reach, AServiceThatRefusesAccessIsToldFromALockedOne) {
  for (const auto* call : {"ReadAlias", "SearchItems", "OpenSession", "CreateItem"}) {
    start(std::string("--deny-at ") + call);
    EXPECT_EQ(add(keychain(), "ada"), errSecAuthFailed) << call;
  }
}

TEST_F(Reach, ThreadsThatGLibStartsTakeNoneOfTheHostsSignals) {
  start();
  ASSERT_EQ(add(keychain(), "ada"), errSecSuccess);
  int others = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(::getpid())) continue;
    std::ifstream status(task.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (!line.starts_with("SigBlk:")) continue;
      const auto mask = std::stoull(line.substr(7), nullptr, 16);
      for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGUSR1})
        EXPECT_NE(mask & (1ULL << (signal - 1)), 0ULL) << "signal " << signal;
      ++others;
    }
  }
  EXPECT_GT(others, 0);
}

}  // namespace
}  // namespace corvane::test
