#include "AuthKeychainHelper.hpp"

#include <Corvane/AnyError.hpp>
#include <CorvanePlatform/KeychainStoreError.hpp>

#include "KeychainQuery.hpp"
#include "UTF8.hpp"

#include <utility>

namespace corvane {

namespace {

void requireService(const std::string& service) {
  if (service.empty()) throw AnyError(KeychainStoreError::noService());
}

// Deletes and adds report the raw status in this form, reads do not.
AnyError statusError(OSStatus status, const char* description) {
  return NSError(NSOSStatusErrorDomain, status, {{std::string(NSLocalizedDescriptionKey), description}});
}

// Runs the throwing form of an operation for its selector form.
template <class Operation>
bool succeeds(NSErrorPointer error, Operation operation) {
  try {
    operation();
    return true;
  } catch (const AnyError& failure) {
    if (error) *error = failure.nsError();
    return false;
  }
}

}  // namespace

AuthKeychainHelper::AuthKeychainHelper(std::string accountName, KeychainAttributes keychainAttributes,
                                       std::shared_ptr<Keychain> keychain)
    : accountName_(std::move(accountName)),
      keychainAttributes_(std::move(keychainAttributes)),
      keychain_(std::move(keychain)) {}

AuthKeychainHelper::AuthKeychainHelper(KeychainAttributes keychainAttributes,
                                       std::shared_ptr<Keychain> keychain)
    : AuthKeychainHelper("OAuth", std::move(keychainAttributes), std::move(keychain)) {}

KeychainDictionary AuthKeychainHelper::keychainQuery(const std::string& service) const {
  KeychainDictionary query;  // emplaced: an initializer list would be copied
  query.emplace(kSecClass, kSecClassGenericPassword);
  query.emplace(kSecAttrAccount, accountName_);
  query.emplace(kSecAttrService, service);
  applyKeychainAttributes(query, keychainAttributes_);
  return query;
}

Data AuthKeychainHelper::passwordData(const std::string& service) const {
  requireService(service);
  auto query = keychainQuery(service);
  query.emplace(kSecReturnData, true);
  query.emplace(kSecMatchLimit, kSecMatchLimitOne);

  KeychainValue result;
  const OSStatus status = keychain_->SecItemCopyMatching(query, &result);
  if (status == errSecItemNotFound) throw AnyError(KeychainStoreError::passwordNotFound(service));
  if (status != errSecSuccess) throw AnyError(KeychainStoreError::unhandled(status));
  if (!result.data()) throw AnyError(KeychainStoreError::unexpectedPasswordData(service));
  return *result.data();
}

std::string AuthKeychainHelper::password(const std::string& service) const {
  const Data data = passwordData(service);
  if (!isValidUTF8(textView(data))) throw AnyError(KeychainStoreError::unexpectedPasswordData(service));
  return std::string(textView(data));
}

void AuthKeychainHelper::removePassword(const std::string& service) const {
  requireService(service);
  const OSStatus status = keychain_->SecItemDelete(keychainQuery(service));
  if (status == errSecItemNotFound)
    throw AnyError(KeychainStoreError::failedToDeletePasswordBecauseItemNotFound(service));
  if (status != errSecSuccess) throw statusError(status, "Keychain delete failed");
}

void AuthKeychainHelper::setPassword(const std::string& password, const std::string& service) const {
  setPassword(dataFromText(password), service, std::nullopt);
}

void AuthKeychainHelper::setPassword(const std::string& password, const std::string& service,
                                     const std::optional<KeychainValue>& accessibility) const {
  setPassword(dataFromText(password), service, accessibility);
}

void AuthKeychainHelper::setPassword(const Data& data, const std::string& service,
                                     const std::optional<KeychainValue>& accessibility) const {
  requireService(service);
  try {
    removePassword(service);
  } catch (const AnyError& error) {
    // A first save finds nothing to delete.
    const auto storeError = error.as<KeychainStoreError>();
    if (!storeError ||
        storeError->kind() != KeychainStoreError::Case::failedToDeletePasswordBecauseItemNotFound)
      throw;
  }
  if (data.empty()) return;

  auto item = keychainQuery(service);
  item.insert_or_assign(std::string(kSecValueData), data);
  if (accessibility) item.insert_or_assign(std::string(kSecAttrAccessible), *accessibility);
  const OSStatus status = keychain_->SecItemAdd(item, nullptr);
  if (status != errSecSuccess) throw statusError(status, "Keychain add failed");
}

std::optional<Data> AuthKeychainHelper::passwordData(const std::string& service, NSErrorPointer error) const {
  std::optional<Data> data;
  succeeds(error, [&] { data = passwordData(service); });
  return data;
}

std::optional<std::string> AuthKeychainHelper::password(const std::string& service,
                                                        NSErrorPointer error) const {
  std::optional<std::string> text;
  succeeds(error, [&] { text = password(service); });
  return text;
}

bool AuthKeychainHelper::removePassword(const std::string& service, NSErrorPointer error) const {
  return succeeds(error, [&] { removePassword(service); });
}

bool AuthKeychainHelper::setPassword(const std::string& password, const std::string& service,
                                     NSErrorPointer error) const {
  return succeeds(error, [&] { setPassword(password, service); });
}

bool AuthKeychainHelper::setPassword(const std::string& password, const std::string& service,
                                     const std::optional<KeychainValue>& accessibility,
                                     NSErrorPointer error) const {
  return succeeds(error, [&] { setPassword(password, service, accessibility); });
}

bool AuthKeychainHelper::setPassword(const Data& data, const std::string& service,
                                     const std::optional<KeychainValue>& accessibility,
                                     NSErrorPointer error) const {
  return succeeds(error, [&] { setPassword(data, service, accessibility); });
}

}  // namespace corvane
