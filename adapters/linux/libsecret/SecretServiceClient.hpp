#pragma once

#include "BusCall.hpp"
#include "ItemAttributes.hpp"
#include "Prompt.hpp"
#include "SecretServiceLimits.hpp"

#include <Corvane/Data.hpp>

#include <libsecret/secret.h>

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// An item as the service lists it.
struct FoundItem {
  std::string path;
  ItemAttributes attributes;
  std::optional<Data> secret;  // when it came along
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
/// Each step sends the calls that do not need each other's answers together. libsecret agrees on the session and encrypts
/// and decrypts; the calls are made by hand, because they go out together or may bring a prompt up (Prompt.cpp).
///
/// Threads: any, one after the other, each in a turn of `loop()`. Everything throws KeychainProblem; ConversationLost says
/// that a new conversation may do better.
class SecretServiceClient {
 public:
  /// Connects, and has the service started if the bus knows how to.
  explicit SecretServiceClient(const SecretServiceLimits& limits);

  const ReplyLoop& loop() const { return loop_; }

  /// Begins a call of the keychain's. False when this conversation has been overtaken: the bus closed the connection, is
  /// another one by now, or has given the service's name to another process.
  bool resume();

  /// Whether the call may have changed something, or has shown a prompt, so that it must not be made again.
  bool isCommitted() const { return isCommitted_; }

  enum class Wanted { attributes, secretToo };

  /// The default collection's items that have all these attributes, in no order. The user is asked to unlock the
  /// collection if need be: a locked one may show its items only in part, so that nothing found in it would mean nothing.
  /// A secret comes along, when wanted, of an item that is alone.
  std::vector<FoundItem> search(const ItemAttributes& attributes, Wanted wanted);

  /// The item's secret; the user is asked to unlock the item if need be. Nothing when the item is gone.
  std::optional<Data> secret(const FoundItem& item);

  /// Makes an item in the collection that was searched.
  void create(const NewItem& item);

  /// False when the item is gone already.
  bool remove(const FoundItem& item);

 private:
  void connect();
  void findService();
  void open();
  void ensureSession();
  /// Which collection is the default one, whether the known one is locked, and what it has.
  std::vector<BusAnswer> look(const ItemAttributes& attributes);
  std::vector<std::string> pathsWith(const ItemAttributes& attributes);
  void unlock(const std::string& path);
  BusCall secretCall(const std::string& path);
  std::optional<Data> secretIn(const BusAnswer& answer);
  /// Whether the item is locked, or nothing when it is gone.
  std::optional<bool> isLocked(const std::string& item);
  BusAnswer write(const BusCall& call);
  BusAnswer writeItem(const std::string& collection, const NewItem& item);
  void finishCreation(BusAnswer answer);
  /// Shows the prompt that a call ended with, if it is one.
  GVariantPointer answerOf(const char* prompt);

  const SecretServiceLimits limits_;
  ReplyLoop loop_;
  std::string address_;
  GObjectPointer<GDBusConnection> connection_;
  BusPeer peer_{};
  GObjectPointer<SecretService> service_;
  std::string collection_;  // the default one's path, when last heard
  bool isCommitted_ = false;
};

}  // namespace corvane
