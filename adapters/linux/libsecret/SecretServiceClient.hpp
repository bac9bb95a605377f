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
  bool isLocked;
};

/// One conversation with the Secret Service, over a connection of its own: whatever happened to the bus or the service
/// before, this one starts afresh, and when it ends the service forgets its session and takes its prompts back.
///
/// libsecret does what needs no patience of ours: the encrypted session, the look-ups and the secrets. The calls that
/// may bring a prompt up are made by hand; Prompt.cpp says why.
///
/// Threads: the one that made it. Everything throws KeychainProblem.
class SecretServiceClient {
 public:
  explicit SecretServiceClient(const SecretServiceLimits& limits);

  /// Opens the default collection; the user is asked to unlock it if need be. Comes before all that follows.
  void openDefaultCollection();

  /// The items that have all these attributes, locked ones too, in no order.
  std::vector<FoundItem> search(const ItemAttributes& attributes);

  /// The item's secret; the user is asked to unlock the item if need be. Nothing when the item is gone.
  std::optional<Data> secret(const FoundItem& item);

  void create(const std::string& label, const ItemAttributes& attributes, const Data& secret);

  /// False when the item is gone already.
  bool remove(const FoundItem& item);

 private:
  void connect();
  void findService();
  void open();
  void ensureSession();
  std::string defaultCollectionPath();
  void loadCollection(const std::string& path);
  void unlock(const std::string& path);
  std::vector<std::string> pathsWith(const ItemAttributes& attributes);
  std::optional<FoundItem> itemAt(const std::string& path);
  /// Shows the prompt that a call ended with, if it is one.
  GVariantPointer answerOf(const char* prompt);

  const SecretServiceLimits limits_;
  ReplyLoop loop_;
  GObjectPointer<GDBusConnection> connection_;
  BusPeer peer_{};
  GObjectPointer<SecretService> service_;
  GObjectPointer<SecretCollection> collection_;
};

}  // namespace corvane
