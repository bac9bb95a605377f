#pragma once

#include "RecentAnswer.hpp"
#include "SecretServiceLimits.hpp"

#include <CorvanePlatform/Keychain.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

namespace corvane {

class SecretServiceClient;

/// The keychain of the user's desktop session, whichever program keeps it: gnome-keyring, KWallet, KeePassXC and others
/// that serve `org.freedesktop.secrets`. One item per account in the default collection, found by attributes that
/// anyone on the session bus can read, with the secret encrypted on its way.
///
/// Lifetime: construction touches nothing; the first call makes a connection to the bus and a session with the service, of
/// this object's own, which stay until it is destroyed or a call fails, because making them costs more than a call. An
/// idle one is a socket; it is not closed after a while, as that would need a timer and a thread. A connection that the
/// bus closed, a service that was replaced or knows the session no more, and another bus are noticed: the call begins anew
/// with a new connection, once, unless it may have changed something or has shown a prompt. Destruction waits for nobody.
/// A process forked off must start another program before it uses a keychain: GLib's threads do not live on in it.
/// Threads: any, also at once; they take turns. A call lasts up to 10 seconds for each reply and 120
/// seconds for each prompt that the user is shown. A prompt that was dismissed or not answered, and a
/// service that did not reply, count for all calls that begin up to a second later too: one action of
/// the user's asks once.
/// Cancellation: once stop is requested, the prompt that is shown is taken back (not from
/// gnome-keyring, which would abort), and its call ends with errSecUserCanceled; no further one is
/// shown.
/// Errors, each but the first four told to `onProblem` too, on the calling thread, in a sentence for
/// the user:
///
/// | status                        | when |
/// |-------------------------------|------------------------------------------------------------------------------|
/// | errSecSuccess                 | done |
/// | errSecItemNotFound            | the unlocked collection has no such item |
/// | errSecDuplicateItem           | the item is there already |
/// | errSecAllocate                | memory ran out |
/// | errSecParam                   | a key of the query is unknown, misplaced or missing, or its value is of a wrong kind |
/// | errSecUserCanceled            | the user dismissed the prompt |
/// | errSecInteractionNotAllowed   | locked: no answer, a wrong one, or no program that shows prompts |
/// | errSecAuthFailed              | the service or the bus refuses access |
/// | errSecDecode                  | the service answers nonsense |
/// | errSecNotAvailable            | no bus, no service, no default collection; it hangs or ended midway |
///
/// A bus is never started, no other store is ever used instead, and nothing is removed but what a deletion names.
///
/// Queries: as EncryptedFileKeychain. Of several items with the same identity, which other programs or a race of two
/// processes may leave, the newest counts; a deletion removes them all.
class SecretServiceKeychain : public Keychain {
 public:
  using ProblemHandler = std::function<void(const std::string& sentence)>;

  using Now = std::function<RecentAnswer::Time()>;

  explicit SecretServiceKeychain(ProblemHandler onProblem = {}, const SecretServiceLimits& limits = {},
                                 Now now = std::chrono::steady_clock::now, std::stop_token stop = {});
  ~SecretServiceKeychain() override;

  OSStatus SecItemCopyMatching(const KeychainDictionary& query, KeychainValue* result) override;
  OSStatus SecItemAdd(const KeychainDictionary& attributes, KeychainValue* result) override;
  OSStatus SecItemDelete(const KeychainDictionary& query) override;

 private:
  template <class Operation>
  OSStatus perform(Operation operation);
  template <class Operation>
  OSStatus takeTurn(Operation operation);
  template <class Conversation>
  OSStatus converse(Conversation conversation);

  const ProblemHandler onProblem_;
  const SecretServiceLimits limits_;
  const Now now_;
  const std::stop_token stop_;

  std::mutex mutex_;
  RecentAnswer answer_;
  std::unique_ptr<SecretServiceClient> client_;
};

}  // namespace corvane
