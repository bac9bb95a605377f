#pragma once

#include <CorvanePlatform/Keychain.hpp>

#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// An extra attribute that a keychain store applies to each of its queries.
class KeychainAttribute {
 public:
  enum class Kind { useDataProtectionKeychain, accessGroup };

  /// Which attribute it is, and the query key under which it stands.
  struct Attribute {
    Kind kind;
    std::string name;  // the access group's name; empty for the other kinds

    std::string_view keyName() const {
      return kind == Kind::accessGroup ? kSecAttrAccessGroup : kSecUseDataProtectionKeychain;
    }
    auto operator<=>(const Attribute&) const = default;
  };

  static KeychainAttribute useDataProtectionKeychain() {
    return KeychainAttribute({Kind::useDataProtectionKeychain, {}});
  }
  static KeychainAttribute keychainAccessGroup(std::string name) {
    return KeychainAttribute({Kind::accessGroup, std::move(name)});
  }

  const Attribute& attribute() const { return attribute_; }
  auto operator<=>(const KeychainAttribute&) const = default;

 private:
  explicit KeychainAttribute(Attribute attribute) : attribute_(std::move(attribute)) {}
  Attribute attribute_;
};

using KeychainAttributes = std::set<KeychainAttribute>;

}  // namespace corvane
