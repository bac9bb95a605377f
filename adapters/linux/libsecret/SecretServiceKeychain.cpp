#include "SecretServiceKeychain.hpp"

#include "KeychainProblem.hpp"
#include "KeyringProblems.hpp"
#include "SecretServiceClient.hpp"

#include <algorithm>
#include <new>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace corvane {
namespace {

struct Match {
  FoundItem found;
  KeychainItem item;
};

bool areTheSame(const KeychainItem& left, const KeychainItem& right) {
  const auto identity = [](const KeychainItem& item) {
    return std::tie(item.itemClass, item.account, item.service, item.accessGroup, item.synchronizable);
  };
  return identity(left) == identity(right);
}

std::string addedAt(const FoundItem& found) {
  const auto attribute = found.attributes.find(addedAttribute);
  return attribute == found.attributes.end() ? "" : attribute->second;
}

// All items that match, in the order in which they were added.
std::vector<Match> matches(SecretServiceClient& client, const KeychainQuery& query) {
  std::vector<Match> result;
  for (auto& found : client.search(searchAttributes(query)))
    if (auto item = itemWith(found.attributes); item && query.matches(*item))
      result.push_back({std::move(found), std::move(*item)});
  std::ranges::stable_sort(result, {}, [](const Match& match) { return addedAt(match.found); });
  return result;
}

// Of several items with the same identity the newest, at the place of the oldest.
std::vector<Match> distinct(std::vector<Match> all) {
  std::vector<Match> result;
  for (auto& match : all) {
    const auto same = [&](const Match& other) { return areTheSame(match.item, other.item); };
    if (const auto older = std::ranges::find_if(result, same); older != result.end())
      *older = std::move(match);
    else
      result.push_back(std::move(match));
  }
  return result;
}

std::vector<KeychainItem> itemsOf(const std::vector<Match>& all) {
  std::vector<KeychainItem> items;
  for (const auto& match : all) items.push_back(match.item);
  return items;
}

KeychainQuery queryForIdentity(const KeychainItem& item) {
  KeychainQuery query;
  query.item = item;
  query.item.accessible.reset();
  query.synchronizable = item.synchronizable;
  return query;
}

bool contains(SecretServiceClient& client, const KeychainItem& item) {
  return std::ranges::any_of(matches(client, queryForIdentity(item)),
                             [&](const Match& match) { return areTheSame(match.item, item); });
}

NewItem newItem(const KeychainQuery& addition) {
  return {labelOf(addition.item), newItemAttributes(addition), addition.value};
}

}  // namespace

SecretServiceKeychain::SecretServiceKeychain(ProblemHandler onProblem, const SecretServiceLimits& limits,
                                             Now now, std::stop_token stop)
    : onProblem_(std::move(onProblem)), limits_(limits), now_(std::move(now)), stop_(std::move(stop)) {}

SecretServiceKeychain::~SecretServiceKeychain() = default;

template <class Operation>
OSStatus SecretServiceKeychain::takeTurn(Operation operation) {
  const auto begun = now_();
  const std::lock_guard lock(mutex_);
  answer_.repeatFor(begun, limits_.answer);
  try {
    const auto status = operation();
    answer_.forget();
    return status;
  } catch (const DearAnswer& problem) {
    answer_.note(problem, now_());
    throw;
  }
}

template <class Conversation>
OSStatus SecretServiceKeychain::converse(Conversation conversation) {
  // A failure of any kind ends the connection, so that a late answer or a prompt left behind disturbs no other call.
  auto client = std::exchange(client_, nullptr);
  const auto talk = [&] {
    const ReplyLoop::Turn turn(client->loop());
    return conversation(*client);
  };
  const auto keep = [&](OSStatus status) {
    client_ = std::move(client);
    return status;
  };
  if (client && client->resume()) {
    try {
      return keep(talk());
    } catch (const ConversationLost&) {
      if (client->isCommitted()) throw;
    }
  }
  client = nullptr;
  client = std::make_unique<SecretServiceClient>(limits_, stop_);
  return keep(talk());
}

template <class Operation>
OSStatus SecretServiceKeychain::perform(Operation operation) {
  std::string sentence;
  OSStatus status = errSecSuccess;
  try {
    status = operation([&](auto conversation) { return takeTurn([&] { return converse(conversation); }); });
  } catch (const KeychainProblem& problem) {
    sentence = problem.what();
    status = problem.status();
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  }
  if (!sentence.empty() && onProblem_) onProblem_(sentence);
  return status;
}

OSStatus SecretServiceKeychain::SecItemCopyMatching(const KeychainDictionary& dictionary,
                                                    KeychainValue* result) {
  return perform([&](auto inTurn) {
    const auto query = KeychainQuery::forLookup(dictionary);
    return inTurn([&](SecretServiceClient& client) -> OSStatus {
      const auto found = distinct(matches(client, query));
      if (found.empty()) return errSecItemNotFound;
      std::optional<Data> secret = Data();
      if (query.returnsData) secret = client.secret(found.front().found);
      if (!secret) return errSecItemNotFound;
      query.fill(result, itemsOf(found), *secret);
      return errSecSuccess;
    });
  });
}

OSStatus SecretServiceKeychain::SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) {
  return perform([&](auto inTurn) {
    const auto query = KeychainQuery::forAddition(attributes);
    return inTurn([&](SecretServiceClient& client) -> OSStatus {
      if (contains(client, query.item)) return errSecDuplicateItem;
      client.create(newItem(query));
      query.fill(result, {query.item}, query.value);
      return errSecSuccess;
    });
  });
}

OSStatus SecretServiceKeychain::SecItemDelete(const KeychainDictionary& dictionary) {
  return perform([&](auto inTurn) {
    const auto query = KeychainQuery::forDeletion(dictionary);
    return inTurn([&](SecretServiceClient& client) -> OSStatus {
      bool removed = false;
      for (const auto& match : matches(client, query)) removed |= client.remove(match.found);
      return removed ? errSecSuccess : errSecItemNotFound;
    });
  });
}

}  // namespace corvane
