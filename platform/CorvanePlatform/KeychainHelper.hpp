#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/NSError.hpp>
#include <CorvanePlatform/Keychain.hpp>
#include <CorvanePlatform/KeychainAttribute.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// How a `KeychainStore` reaches the keychain: whoever implements this decides how one session is laid out
/// there.
///
/// Every operation leaves its error in the out-parameter when there is one and drops it otherwise; the result
/// then is empty or false. Any thread; calls block on the keychain.
class KeychainHelper {
 public:
  virtual ~KeychainHelper() = default;

  virtual const std::string& accountName() const = 0;
  virtual const KeychainAttributes& keychainAttributes() const = 0;

  virtual KeychainDictionary keychainQuery(const std::string& service) const = 0;
  virtual std::optional<Data> passwordData(const std::string& service, NSErrorPointer error) const = 0;
  virtual std::optional<std::string> password(const std::string& service, NSErrorPointer error) const = 0;
  virtual bool removePassword(const std::string& service, NSErrorPointer error) const = 0;
  virtual bool setPassword(const std::string& password, const std::string& service,
                           NSErrorPointer error) const = 0;
  /// `accessibility` is one of the `kSecAttrAccessible…` values, or empty for the keychain's default.
  virtual bool setPassword(const std::string& password, const std::string& service,
                           const std::optional<KeychainValue>& accessibility, NSErrorPointer error) const = 0;
  virtual bool setPassword(const Data& data, const std::string& service,
                           const std::optional<KeychainValue>& accessibility, NSErrorPointer error) const = 0;
};

}  // namespace corvane
