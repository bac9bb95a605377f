#pragma once

#include "KeychainItem.hpp"
#include "KeychainQuery.hpp"

#include <map>
#include <optional>
#include <string>

namespace corvane {

/// An item's attributes as the Secret Service keeps them: unencrypted UTF-8 texts, by which it searches.
using ItemAttributes = std::map<std::string, std::string>;

/// When the item was added, as an attribute, because the service itself counts in seconds only. Compares as text.
inline constexpr const char* addedAttribute = "added";

/// What a search for the query's items asks the service for. It may find more than matches: a query says "without
/// an access group" by silence, as it says "with any".
ItemAttributes searchAttributes(const KeychainQuery& query);

/// All that is kept of a new item beside its secret.
ItemAttributes newItemAttributes(const KeychainQuery& addition);

/// The item with these attributes, or nothing if it is not one of ours.
std::optional<KeychainItem> itemWith(const ItemAttributes& attributes);

/// What the item is called in the user's keyring program.
std::string labelOf(const KeychainItem& item);

}  // namespace corvane
