#include "KeychainContract.hpp"

#include "libsecret/SecretServiceKeychain.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"
#include "support/FakeKeychain.hpp"
#include "support/KeyringSession.hpp"
#include "support/TemporaryFolder.hpp"

namespace corvane::test {
namespace {

std::shared_ptr<Keychain> makeFake() {
  return std::make_shared<FakeKeychain>();
}

std::shared_ptr<Keychain> makeEncryptedFile() {
  struct WithFolder {
    TemporaryFolder folder;
    EncryptedFileKeychain keychain{folder.path() / "keychain"};
  };
  auto both = std::make_shared<WithFolder>();
  return {both, &both->keychain};
}

std::shared_ptr<Keychain> makeSecretService() {
  struct WithSession {
    KeyringSession session;
    SecretServiceKeychain keychain;
  };
  auto both = std::make_shared<WithSession>();
  return {both, &both->keychain};
}

INSTANTIATE_TEST_SUITE_P(Fake, KeychainContract, testing::Values(makeFake));
INSTANTIATE_TEST_SUITE_P(EncryptedFile, KeychainContract, testing::Values(makeEncryptedFile));
INSTANTIATE_TEST_SUITE_P(SecretService, KeychainContract, testing::Values(makeSecretService));

}  // namespace
}  // namespace corvane::test
