#include "libsecret/SecretServiceKeychain.hpp"
#include "support/KeyringSession.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

// The real gnome-keyring, beyond what every keychain must do (tests/contract/keychain).

namespace corvane::test {
namespace {

using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;

class GnomeKeyring : public testing::Test {
 protected:
  static KeychainDictionary ada() {
    return {{std::string(kSecClass), kSecClassGenericPassword},
            {std::string(kSecAttrService), "corvane"},
            {std::string(kSecAttrAccessGroup), ""},
            {std::string(kSecUseDataProtectionKeychain), kCFBooleanTrue},
            {std::string(kSecAttrAccount), "ada@example.com"}};
  }
  static OSStatus add(Keychain& keychain, const std::string& secret) {
    auto item = ada();
    item.insert_or_assign(std::string(kSecValueData), dataFromText(secret));
    return keychain.SecItemAdd(item, nullptr);
  }
  OSStatus add(const std::string& secret) { return add(keychain, secret); }
  OSStatus read(std::string* secret = nullptr) {
    auto query = ada();
    query.insert_or_assign(std::string(kSecReturnData), true);
    KeychainValue result;
    const auto status = keychain.SecItemCopyMatching(query, &result);
    if (secret && result.data()) *secret = textView(*result.data());
    return status;
  }
  std::string search() {
    return session.run("secret-tool search --all service corvane account ada@example.com");
  }

  void startMonitor() {
    session.run(
        "dbus-monitor --session >$HOME/traffic 2>&1 & echo $! >$HOME/monitor; "
        "until grep -q NameAcquired $HOME/traffic; do sleep 0.02; done");
  }
  /// What went over the bus, at least until this.
  std::string seenUntil(const std::string& last) {
    session.run("sync; until grep -q " + last +
                " $HOME/traffic; do sleep 0.02; done; kill $(cat $HOME/monitor)");
    return session.run("cat $HOME/traffic");
  }

  KeyringSession session;
  std::vector<std::string> problems;
  SecretServiceKeychain keychain{[this](const std::string& sentence) { problems.push_back(sentence); }};
};

TEST_F(GnomeKeyring, ShowsTheItemWithItsLabelAndAttributesUntilItIsRemoved) {
  ASSERT_EQ(add("secret"), errSecSuccess);
  const auto shown = search();
  EXPECT_THAT(shown, HasSubstr("label = corvane – ada@example.com\n"));
  for (const auto* attribute :
       {"account = ada@example.com\n", "service = corvane\n", "access-group = \n",
        "class = kSecClassGenericPassword\n", "synchronizable = false\n", "data-protection = true\n"})
    EXPECT_THAT(shown, HasSubstr(std::string("attribute.") + attribute));
  ASSERT_EQ(keychain.SecItemDelete(ada()), errSecSuccess);
  EXPECT_EQ(search(), "");
}

TEST_F(GnomeKeyring, KeepsItemsWhenItIsRestarted) {
  ASSERT_EQ(add("secret"), errSecSuccess);
  session.run("restart-keyring");
  std::string secret;
  EXPECT_EQ(read(&secret), errSecSuccess);
  EXPECT_EQ(secret, "secret");
}

TEST_F(GnomeKeyring, GetsAndGivesSecretsEncrypted) {
  startMonitor();
  ASSERT_EQ(add("a secret in the clear"), errSecSuccess);
  std::string secret;
  ASSERT_EQ(read(&secret), errSecSuccess);
  EXPECT_EQ(secret, "a secret in the clear");
  const auto traffic = seenUntil("GetSecrets");
  EXPECT_THAT(traffic, HasSubstr("CreateItem"));
  EXPECT_THAT(traffic, HasSubstr("dh-ietf1024-sha256-aes128-cbc-pkcs7"));
  EXPECT_THAT(traffic, Not(HasSubstr("a secret in the clear")));
}

// There is no display in the test's session: the keyring's prompt ends at once as if the user had dismissed it.
TEST_F(GnomeKeyring, LockedWithNobodyToAskIsLockedAndUnlockedItGoesOn) {
  ASSERT_EQ(add("secret"), errSecSuccess);
  session.lockKeyring();
  EXPECT_EQ(read(), errSecInteractionNotAllowed);
  EXPECT_EQ(keychain.SecItemDelete(ada()), errSecInteractionNotAllowed);
  EXPECT_EQ(add("other"), errSecInteractionNotAllowed);
  EXPECT_THAT(problems, Each(HasSubstr("no desktop here")));
  session.unlockKeyring();
  std::string secret;
  EXPECT_EQ(read(&secret), errSecSuccess);
  EXPECT_EQ(secret, "secret");
}

TEST_F(GnomeKeyring, LockedBetweenADeletionAndTheAdditionAsksForItsPassword) {
  ASSERT_EQ(add("old"), errSecSuccess);
  ASSERT_EQ(keychain.SecItemDelete(ada()), errSecSuccess);
  session.lockKeyring();
  EXPECT_EQ(add("new"), errSecInteractionNotAllowed);
  session.unlockKeyring();
  EXPECT_EQ(read(), errSecItemNotFound);
  EXPECT_EQ(add("new"), errSecSuccess);
}

TEST_F(GnomeKeyring, ReplacedAsTheDefaultBetweenADeletionAndTheAdditionMayHaveTheItemAlready) {
  ASSERT_EQ(add("old"), errSecSuccess);
  const auto becomesDefault = [this](const std::string& name) {
    session.run(
        "dbus-send --session --print-reply --dest=org.freedesktop.secrets /org/freedesktop/secrets "
        "org.freedesktop.Secret.Service.SetAlias string:default "
        "objpath:/org/freedesktop/secrets/collection/" +
        name);
  };
  session.run("switch-keyring");
  {
    SecretServiceKeychain others;
    ASSERT_EQ(add(others, "theirs"), errSecSuccess);
  }
  becomesDefault("login");
  ASSERT_EQ(keychain.SecItemDelete(ada()), errSecSuccess);
  becomesDefault("other");
  EXPECT_EQ(add("new"), errSecDuplicateItem);
  EXPECT_THAT(search(), Not(HasSubstr("secret = new")));
  std::string secret;
  EXPECT_EQ(read(&secret), errSecSuccess);
  EXPECT_EQ(secret, "theirs");
}

TEST_F(GnomeKeyring, LeavesOtherProgramsItemsAlone) {
  session.run("printf theirs | secret-tool store --label=theirs service corvane account ada@example.com");
  EXPECT_EQ(read(), errSecItemNotFound);
  EXPECT_EQ(keychain.SecItemDelete(ada()), errSecItemNotFound);
  EXPECT_THAT(search(), HasSubstr("secret = theirs"));
}

TEST_F(GnomeKeyring, FindsWhatAnotherProgramPutInTheItemsPlace) {
  ASSERT_EQ(add("secret"), errSecSuccess);
  ASSERT_EQ(read(), errSecSuccess);
  SecretServiceKeychain others;
  ASSERT_EQ(others.SecItemDelete(ada()), errSecSuccess);
  EXPECT_EQ(read(), errSecItemNotFound);
  auto theirs = ada();
  theirs.insert_or_assign(std::string(kSecValueData), dataFromText("theirs"));
  ASSERT_EQ(others.SecItemAdd(theirs, nullptr), errSecSuccess);
  std::string secret;
  EXPECT_EQ(read(&secret), errSecSuccess);
  EXPECT_EQ(secret, "theirs");
  EXPECT_EQ(add("again"), errSecDuplicateItem);
}

// In one conversation, so that nothing kept from before may stand for it.
TEST_F(GnomeKeyring, AnotherDefaultIsUsedFromTheNextCallOnAndTheOldOneLeftAlone) {
  ASSERT_EQ(add("old"), errSecSuccess);
  std::string secret;
  ASSERT_EQ(read(&secret), errSecSuccess);
  session.run("switch-keyring");
  EXPECT_EQ(read(), errSecItemNotFound);
  EXPECT_EQ(keychain.SecItemDelete(ada()), errSecItemNotFound);
  EXPECT_EQ(add("new"), errSecSuccess);
  EXPECT_EQ(read(&secret), errSecSuccess);
  EXPECT_EQ(secret, "new");
  EXPECT_EQ(keychain.SecItemDelete(ada()), errSecSuccess);
  EXPECT_EQ(read(), errSecItemNotFound);
  EXPECT_THAT(search(), HasSubstr("secret = old"));
}

TEST_F(GnomeKeyring, KilledIsNotAvailableAndOnceRestartedFoundAgain) {
  ASSERT_EQ(add("secret"), errSecSuccess);
  session.run("kill -KILL $(cat $HOME/keyring.pid)");
  EXPECT_EQ(read(), errSecNotAvailable);
  session.run("restart-keyring");
  EXPECT_EQ(read(), errSecSuccess);
}

}  // namespace
}  // namespace corvane::test
