#include "FaultyKeyring.hpp"

#include <csignal>
#include <string>
#include <thread>
#include <vector>

// The connection that a keychain keeps between its calls, and what becomes of it meanwhile.

namespace corvane::test {
namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class KeptConnection : public FaultyKeyringTest {
 protected:
  /// A keychain that has a connection already, and in whose keyring ada's item is.
  SecretServiceKeychain& connected(const std::string& options = {}, SecretServiceLimits limits = {}) {
    start(options);
    auto& result = keychain(limits);
    EXPECT_EQ(add(result, "ada"), errSecSuccess);
    forgetCalls();
    return result;
  }

  long names() {
    return std::stol(
        session.run("dbus-send --session --print-reply --dest=org.freedesktop.DBus / "
                    "org.freedesktop.DBus.ListNames | grep -c '\":' || true"));
  }
};

TEST_F(KeptConnection, IsOneForAllCallsAndEndsWithTheKeychain) {
  start();
  const auto before = names();
  {
    SecretServiceKeychain same;
    EXPECT_EQ(names(), before);
    for (const auto* name : {"ada", "bob", "carol"}) EXPECT_EQ(add(same, name), errSecSuccess);
    EXPECT_EQ(names(), before + 1);
  }
  while (names() != before) continue;
}

TEST_F(KeptConnection, EndsWhenACallFails) {
  const auto before = names();
  auto& same = connected("--deny-at GetSecrets");
  EXPECT_EQ(read(same, "ada"), errSecAuthFailed);
  while (names() != before + 1) continue;  // the service's
}

TEST_F(KeptConnection, IsMadeAnewWhenTheServiceWasRestarted) {
  auto& same = connected();
  start();
  EXPECT_EQ(read(same, "ada"), errSecItemNotFound);
  start();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
  start();
  EXPECT_EQ(remove(same, "ada"), errSecItemNotFound);
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(KeptConnection, IsMadeAnewWhenTheServiceWasStoppedAndStartedLater) {
  auto& same = connected();
  stop();
  EXPECT_EQ(read(same, "ada"), errSecNotAvailable);
  EXPECT_THAT(problems.back(), HasSubstr("no keyring service"));
  start();
  EXPECT_EQ(add(same, "ada"), errSecSuccess);
}

TEST_F(KeptConnection, IsMadeAnewWhenTheServiceKnowsTheSessionNoMore) {
  auto& reading = connected("--lose-session-at GetSecrets");
  std::string secret;
  EXPECT_EQ(read(reading, "ada", &secret), errSecSuccess);
  EXPECT_EQ(secret, "secret");
  EXPECT_EQ(calls("OpenSession"), 2);  // encrypted, which the service refuses, and plain
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(KeptConnection, ASaveRefusedForALostSessionIsMadeOnceMore) {
  start("--lose-session-at CreateItem --lose-after 1");
  auto& same = keychain();
  ASSERT_EQ(add(same, "ada"), errSecSuccess);
  forgetCalls();
  EXPECT_EQ(add(same, "bob"), errSecSuccess);
  EXPECT_EQ(calls("CreateItem"), 2);
  EXPECT_EQ(calls("OpenSession"), 2);
  EXPECT_EQ(read(same, "bob"), errSecSuccess);
}

TEST_F(KeptConnection, ASaveThatTheServiceMayHaveDoneBeforeItDiedIsNotMadeAgain) {
  start("--die-at CreateItem --die-after 1");
  auto& same = keychain();
  ASSERT_EQ(add(same, "ada"), errSecSuccess);
  EXPECT_EQ(add(same, "bob"), errSecNotAvailable);
  EXPECT_EQ(calls("CreateItem"), 2);
}

TEST_F(KeptConnection, AFrozenServiceIsGivenUpAfterTheLimitAndFoundAgainOnceThawed) {
  auto& same = connected({}, impatientForReplies());
  freeze();
  EXPECT_EQ(read(same, "ada"), errSecNotAvailable);
  EXPECT_THAT(problems.back(), HasSubstr("does not answer"));
  thaw();
  EXPECT_EQ(read(keychain(), "ada"), errSecSuccess);
}

TEST_F(KeptConnection, ALockOrALateUnlockIsSeenByTheNextCall) {
  auto& same = connected("--prompt dismiss", {.answer = std::chrono::milliseconds(-1)});
  lock();
  EXPECT_EQ(read(same, "ada"), errSecUserCanceled);
  EXPECT_EQ(read(same, "nobody"), errSecUserCanceled);
  EXPECT_EQ(calls("Prompt"), 2);
}

TEST_F(KeptConnection, CallsOfSeveralThreadsTakeTurnsOnIt) {
  auto& same = connected();
  std::vector<OSStatus> answers(24);
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < 4; ++i)
      threads.emplace_back([&, i] {
        for (std::size_t round = i; round < answers.size(); round += 4) answers[round] = read(same, "ada");
      });
  }
  EXPECT_THAT(answers, Each(errSecSuccess));
  EXPECT_EQ(calls("GetSecrets"), 24);
  EXPECT_EQ(calls("OpenSession"), 0);
}

TEST_F(KeptConnection, AKeychainMayEndOnAnotherThreadWhateverBecameOfItsService) {
  for (const bool isFrozen : {false, true}) {
    start();
    auto same = std::make_unique<SecretServiceKeychain>();
    ASSERT_EQ(add(*same, "ada"), errSecSuccess);
    if (isFrozen)
      freeze();
    else
      stop();
    std::jthread([&] { same.reset(); }).join();
    EXPECT_EQ(same, nullptr);
  }
}

/// A bus that can be ended and replaced under the keychain.
class ReplacedBus : public testing::Test {
 protected:
  static OSStatus add(Keychain& keychain) {
    return keychain.SecItemAdd({{std::string(kSecClass), kSecClassGenericPassword},
                                {std::string(kSecAttrAccount), "ada"},
                                {std::string(kSecValueData), dataFromText("secret")}},
                               nullptr);
  }
  static OSStatus remove(Keychain& keychain) {
    return keychain.SecItemDelete(
        {{std::string(kSecClass), kSecClassGenericPassword}, {std::string(kSecAttrAccount), "ada"}});
  }
  static OSStatus read(Keychain& keychain) {
    return keychain.SecItemCopyMatching({{std::string(kSecClass), kSecClassGenericPassword},
                                         {std::string(kSecAttrAccount), "ada"},
                                         {std::string(kSecReturnData), true}},
                                        nullptr);
  }
};

TEST_F(ReplacedBus, TheConnectionThatTheBusClosedIsMadeAnewOnTheNextOne) {
  SecretServiceKeychain same;
  {
    KeyringSession first;
    ASSERT_EQ(add(same), errSecSuccess);
  }
  EXPECT_EQ(read(same), errSecNotAvailable);
  KeyringSession second;
  EXPECT_EQ(read(same), errSecItemNotFound);
  EXPECT_EQ(add(same), errSecSuccess);
}

TEST_F(ReplacedBus, AnAdditionLosesNothingByAnotherBusSinceTheDeletionBeforeIt) {
  SecretServiceKeychain same;
  {
    KeyringSession first;
    ASSERT_EQ(add(same), errSecSuccess);
    ASSERT_EQ(remove(same), errSecSuccess);
  }
  KeyringSession second;
  EXPECT_EQ(add(same), errSecSuccess);
  EXPECT_EQ(read(same), errSecSuccess);
  EXPECT_EQ(add(same), errSecDuplicateItem);
}

TEST_F(ReplacedBus, AnotherAddressIsFollowedAlthoughTheFirstBusStillRuns) {
  KeyringSession first;
  SecretServiceKeychain same;
  ASSERT_EQ(add(same), errSecSuccess);
  const std::string address = ::getenv("DBUS_SESSION_BUS_ADDRESS");
  {
    KeyringSession second;
    EXPECT_EQ(read(same), errSecItemNotFound);
  }
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  EXPECT_EQ(read(same), errSecSuccess);
}

}  // namespace
}  // namespace corvane::test
