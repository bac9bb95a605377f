#include "RealKeyring.hpp"

#include "contract/keychain/KeychainContract.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdio>
#include <future>
#include <stop_token>

// The real KeePassXC and the real KWallet: what every keychain must do, and what is their own. And gnome-keyring with
// its prompts on a screen.

namespace corvane::test {
namespace {

/// One keyring for all tests of its kind: it takes a second to start.
std::unique_ptr<RealKeyring> running;

class OtherKeyrings : public testing::Environment {
 public:
  void TearDown() override { running.reset(); }
};
const auto* const registered = testing::AddGlobalTestEnvironment(new OtherKeyrings);

RealKeyring& keyringOf(const std::string& which) {
  static std::string current;
  if (!running || current != which) {
    running.reset();
    running = std::make_unique<RealKeyring>(which);
    current = which;
  }
  return *running;
}

std::shared_ptr<Keychain> emptiedKeychain() {
  auto keychain = std::make_shared<SecretServiceKeychain>(
      [](const std::string& sentence) { std::fprintf(stderr, "%s\n", sentence.c_str()); });
  keychain->SecItemDelete({{std::string(kSecClass), kSecClassGenericPassword},
                           {std::string(kSecAttrSynchronizable), kSecAttrSynchronizableAny}});
  return keychain;
}

std::shared_ptr<Keychain> makeKWallet() {
  keyringOf("kwallet");
  return emptiedKeychain();
}

INSTANTIATE_TEST_SUITE_P(KWallet, KeychainContract, testing::Values(makeKWallet));

KeychainDictionary ada() {
  return {{std::string(kSecClass), kSecClassGenericPassword},
          {std::string(kSecAttrService), "corvane"},
          {std::string(kSecAttrAccessGroup), ""},
          {std::string(kSecUseDataProtectionKeychain), kCFBooleanTrue},
          {std::string(kSecAttrAccount), "ada@example.com"}};
}

OSStatus add(const std::string& secret) {
  auto item = ada();
  item.insert_or_assign(std::string(kSecValueData), dataFromText(secret));
  return SecretServiceKeychain().SecItemAdd(item, nullptr);
}

OSStatus read(std::string& secret, const std::stop_token& stop = {}) {
  auto query = ada();
  query.insert_or_assign(std::string(kSecReturnData), true);
  KeychainValue result;
  SecretServiceKeychain keychain({}, {}, std::chrono::steady_clock::now, stop);
  const auto status = keychain.SecItemCopyMatching(query, &result);
  if (result.data()) secret = textView(*result.data());
  return status;
}

// Not the whole contract: KeePassXC 2.7.4 itself ended in one run of three among hundreds of calls within a second.
TEST(KeePassXC, KeepsASessionThroughItsLife) {
  keyringOf("keepassxc");
  std::string secret = "none";
  EXPECT_EQ(read(secret), errSecItemNotFound);
  EXPECT_EQ(add("old"), errSecSuccess);
  EXPECT_EQ(add("other"), errSecDuplicateItem);
  EXPECT_EQ(read(secret), errSecSuccess);
  EXPECT_EQ(secret, "old");
  SecretServiceKeychain saving;
  EXPECT_EQ(saving.SecItemDelete(ada()), errSecSuccess);
  auto item = ada();
  item.insert_or_assign(std::string(kSecValueData), dataFromText("new"));
  EXPECT_EQ(saving.SecItemAdd(item, nullptr), errSecSuccess);
  EXPECT_EQ(read(secret), errSecSuccess);
  EXPECT_EQ(secret, "new");
  auto listing = ada();
  listing.insert_or_assign(std::string(kSecReturnAttributes), true);
  listing.insert_or_assign(std::string(kSecMatchLimit), kSecMatchLimitAll);
  KeychainValue listed;
  EXPECT_EQ(saving.SecItemCopyMatching(listing, &listed), errSecSuccess);
  ASSERT_TRUE(listed.list());
  EXPECT_EQ(listed.list()->size(), 1u);
  EXPECT_EQ(saving.SecItemDelete(ada()), errSecSuccess);
  EXPECT_EQ(read(secret), errSecItemNotFound);
}

/// KeePassXC as it comes: it asks before a program sees an item. Each keychain is another program to it.
class KeePassXCThatAsks : public testing::Test {
 protected:
  KeePassXCThatAsks() { add("secret"); }

  RealKeyring& keyring = keyringOf("keepassxc ask");
  std::string secret = "none";
};

TEST_F(KeePassXCThatAsks, GivesASessionOnceItsUserAllowsIt) {
  const auto dialog = keyring.answerDialog("Access Request", "Return");
  EXPECT_EQ(read(secret), errSecSuccess);
  EXPECT_EQ(secret, "secret");
}

TEST_F(KeePassXCThatAsks, GivesNoSessionThatItsUserRefuses) {
  const auto dialog = keyring.answerDialog("Access Request", "Escape");
  EXPECT_EQ(read(secret), errSecUserCanceled);
  EXPECT_EQ(secret, "none");
}

TEST_F(KeePassXCThatAsks, LetsASessionBeRemoved) {
  EXPECT_EQ(SecretServiceKeychain().SecItemDelete(ada()), errSecSuccess);
  EXPECT_EQ(read(secret), errSecItemNotFound);
}

// Whether the dialog goes too is up to KeePassXC: 2.7.4 takes it away in some runs and leaves it in
// others.
TEST_F(KeePassXCThatAsks, IsNotWaitedForOnceStopIsRequested) {
  std::stop_source asking;
  auto status = std::async(std::launch::async, [&] { return read(secret, asking.get_token()); });
  keyring.waitForDialog("Access Request");
  asking.request_stop();
  EXPECT_EQ(status.get(), errSecUserCanceled);
  EXPECT_EQ(secret, "none");
  running.reset();
}

TEST(ClosedKWallet, IsCancelledWhenItsUserDismissesThePrompt) {
  auto& keyring = keyringOf("kwallet");
  std::string secret = "none";
  add("secret");
  keyring.session.run(
      "dbus-send --session --print-reply --dest=org.kde.kwalletd5 /modules/kwalletd5 org.kde.KWallet.close "
      "string:kdewallet boolean:true");
  {
    const auto dialog = keyring.answerDialog("KDE Wallet", "Escape");
    EXPECT_EQ(read(secret), errSecUserCanceled);
  }
  EXPECT_EQ(secret, "none");
  running.reset();
}

class GnomeKeyringOnAScreen : public testing::Test {
 protected:
  GnomeKeyringOnAScreen() {
    running.reset();
    keyring = &keyringOf("gnome-prompter");
    EXPECT_EQ(add("secret"), errSecSuccess);
    keyring->session.lockKeyring();
  }

  static constexpr const char* title = "Unlock Login Keyring";
  RealKeyring* keyring;
  std::string secret = "none";
};

TEST_F(GnomeKeyringOnAScreen, IsCancelledWhenItsUserDismissesThePrompt) {
  const auto dialog = keyring->answerDialog(title, "Escape");
  EXPECT_EQ(read(secret), errSecUserCanceled);
  EXPECT_EQ(secret, "none");
}

// Dismissing it would end the daemon, and with it every program's access to the keyring.
TEST_F(GnomeKeyringOnAScreen, SurvivesAPromptThatIsGivenUp) {
  std::stop_source asking;
  auto status = std::async(std::launch::async, [&] { return read(secret, asking.get_token()); });
  keyring->waitForDialog(title);
  asking.request_stop();
  EXPECT_EQ(status.get(), errSecUserCanceled);
  keyring->session.unlockKeyring();
  EXPECT_EQ(read(secret), errSecSuccess);
}

}  // namespace
}  // namespace corvane::test
