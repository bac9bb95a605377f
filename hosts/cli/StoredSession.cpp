#include "StoredSession.hpp"

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

namespace corvane::cli {

std::string keychainService(std::string google) {
  while (!google.empty() && google.back() == '/') google.pop_back();
  return google.empty() ? "corvane" : "corvane " + google;
}

std::shared_ptr<AuthSession> storedSession(const Platform& platform, const std::string& service,
                                           const GoogleDriveAccountModel& account) {
  const KeychainDictionary query{
      {std::string(kSecClass), kSecClassGenericPassword},
      {std::string(kSecAttrService), service},
      {std::string(kSecAttrAccessGroup), keychainAccessGroup},
      {std::string(kSecUseDataProtectionKeychain), kCFBooleanTrue},
      {std::string(kSecAttrAccount), account.userEmail()},
      {std::string(kSecReturnData), true},
  };
  KeychainValue archived;
  const OSStatus status = platform.keychain->SecItemCopyMatching(query, &archived);
  if (status != errSecSuccess) throw AnyError(KeychainStoreError::unhandled(status));
  if (!archived.data()) throw AnyError(KeychainStoreError::unexpectedPasswordData(service));
  return platform.sessionArchive->decode(*archived.data());
}

}  // namespace corvane::cli
