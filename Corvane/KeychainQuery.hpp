#pragma once

#include <CorvanePlatform/Keychain.hpp>
#include <CorvanePlatform/KeychainAttribute.hpp>

namespace corvane {

/// Adds the extra attributes to a query, each under its own key.
void applyKeychainAttributes(KeychainDictionary& query, const KeychainAttributes& attributes);

}  // namespace corvane
