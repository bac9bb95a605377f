#include "KeychainQuery.hpp"

namespace corvane {

void applyKeychainAttributes(KeychainDictionary& query, const KeychainAttributes& attributes) {
  for (const auto& element : attributes) {
    const auto& attribute = element.attribute();
    const std::string key(attribute.keyName());
    switch (attribute.kind) {
      case KeychainAttribute::Kind::accessGroup:
        query.insert_or_assign(key, attribute.name);
        break;
      case KeychainAttribute::Kind::useDataProtectionKeychain:
        query.insert_or_assign(key, kCFBooleanTrue);
        break;
      default:
        break;  // a kind that this layout does not know
    }
  }
}

}  // namespace corvane
