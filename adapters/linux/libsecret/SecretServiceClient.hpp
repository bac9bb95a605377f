#pragma once

#include "BusCall.hpp"
#include "ItemAttributes.hpp"
#include "Prompt.hpp"
#include "SecretServiceLimits.hpp"

#include <Corvane/Data.hpp>

#include <libsecret/secret.h>

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace corvane {

/// An item as the service lists it.
struct FoundItem {
  std::string path;
  ItemAttributes attributes;
};

/// An item to be made.
struct NewItem {
  std::string label;
  ItemAttributes attributes;
  const Data& secret;
};

/// A conversation with the Secret Service, over a connection of its own. When it ends the service forgets its session and
/// takes its prompts back.
///
/// libsecret agrees on the session, encrypts and decrypts. Most calls are made by hand: libsecret waits for the service
/// and for the user alike, and does not tell a forgotten session from any other error.
///
/// Threads: any, one after the other, each in a turn of `loop()`. Everything throws KeychainProblem; ConversationLost says
/// that a new conversation may do better.
class SecretServiceClient {
 public:
  /// Connects, and has the service started if the bus knows how to. No prompt is shown once stop is requested.
  explicit SecretServiceClient(const SecretServiceLimits& limits, std::stop_token stop = {});

  const ReplyLoop& loop() const { return loop_; }

  /// Begins a call of the keychain's. False when this conversation has been overtaken: the bus closed the connection, is
  /// another one by now, or has given the service's name to another process.
  bool resume();

  /// Whether the call may have changed something, or has shown a prompt, so that it must not be made again.
  bool isCommitted() const { return isCommitted_; }

  /// The default collection's items that have all these attributes, in no order. The user is asked to unlock the
  /// collection if need be: a locked one may show its items only in part, so that nothing found in it would mean nothing.
  std::vector<FoundItem> search(const ItemAttributes& attributes);

  /// The item's secret; the user is asked to unlock the item if need be. Nothing when the item is gone.
  std::optional<Data> secret(const FoundItem& item);

  /// Makes an item in the collection that was searched.
  void create(const NewItem& item);

  /// False when the item is gone already. The user is asked to unlock the item if need be.
  bool remove(const FoundItem& item);

 private:
  void connect();
  void findService();
  void open();
  /// Runs one of libsecret's asynchronous functions to its end.
  template <class Begin, class Finish>
  auto await(Begin begin, Finish finish);
  void ensureSession();
  std::string defaultCollection();
  /// Whether an item or a collection is locked, or nothing when it is gone.
  std::optional<bool> isLocked(const std::string& path, const char* interface);
  /// Nothing when the item is gone or shows nothing of itself.
  std::optional<ItemAttributes> attributesOf(const std::string& item);
  void unlock(const std::string& path);
  /// Nothing when the item is locked or gone, or its secret cannot be decrypted.
  std::optional<Data> givenSecret(const std::string& item);
  BusAnswer write(const BusCall& call);
  /// Shows the prompt that a call ended with, if it is one.
  GVariantPointer answerOf(const char* prompt);

  const SecretServiceLimits limits_;
  const std::stop_token stop_;
  ReplyLoop loop_;
  std::string address_;
  GObjectPointer<GDBusConnection> connection_;
  BusPeer peer_{};
  GObjectPointer<SecretService> service_;
  std::string collection_;  // the one that was searched
  bool isCommitted_ = false;
};

}  // namespace corvane
