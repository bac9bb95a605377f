#include "RealKeyring.hpp"

#include "contract/keychain/KeychainContract.hpp"

#include <gmock/gmock.h>

// The real KeePassXC and the real KWallet: what every keychain must do, and what is their own.

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
  auto keychain = std::make_shared<SecretServiceKeychain>();
  keychain->SecItemDelete({{std::string(kSecClass), kSecClassGenericPassword},
                           {std::string(kSecAttrSynchronizable), kSecAttrSynchronizableAny}});
  return keychain;
}

std::shared_ptr<Keychain> makeKeePassXC() {
  keyringOf("keepassxc");
  return emptiedKeychain();
}

std::shared_ptr<Keychain> makeKWallet() {
  keyringOf("kwallet");
  return emptiedKeychain();
}

INSTANTIATE_TEST_SUITE_P(KeePassXC, KeychainContract, testing::Values(makeKeePassXC));
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

OSStatus read(std::string& secret) {
  auto query = ada();
  query.insert_or_assign(std::string(kSecReturnData), true);
  KeychainValue result;
  const auto status = SecretServiceKeychain().SecItemCopyMatching(query, &result);
  if (result.data()) secret = textView(*result.data());
  return status;
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

}  // namespace
}  // namespace corvane::test
