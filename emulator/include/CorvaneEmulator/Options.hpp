#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace corvane::emulator {

/// What the authorization page answers: `Ask` shows it to a person, the others redirect at once.
/// `Partial` grants everything but Drive, as a user who leaves the Drive box unticked.
enum class Consent { Ask, Allow, Deny, Partial };

/// An account and its files. `files` counts what the user owns outside the trash; with `decoys`, files of
/// others and files in the trash lie between them, which only a right `q` keeps out.
struct Account {
  std::string email;
  std::uint64_t files = 100;
  std::string displayName = {};                   ///< derived from the address when empty
  std::optional<std::int64_t> storageLimit = {};  ///< bytes; by default the smallest plan that fits
  bool unlimitedStorage = false;                  ///< `limit` is then absent
  bool decoys = true;
};

using Clock = std::function<std::chrono::system_clock::time_point()>;

struct Options {
  std::vector<Account> accounts = {{.email = "ada@example.com"}};
  std::uint64_t seed = 1;  ///< the same seed gives the same files, ids and page tokens
  Consent consent = Consent::Allow;
  bool tls = false;
  std::uint16_t port = 0;  ///< 0: any free port
  std::string clientID = "corvane-demo-client";
  std::string clientSecret = "corvane-demo-secret";
  std::chrono::seconds tokenLifetime{3599};
  bool rotateRefreshTokens = false;             ///< a refresh gives a new refresh token and ends the old one
  std::uint64_t missingCreatedTimeEvery = 997;  ///< every n-th file has no createdTime; 0: none
  std::size_t cacheBytes = 192U << 20;          ///< bound for rendered pages kept
  Clock clock = [] { return std::chrono::system_clock::now(); };  ///< for tokens and codes
};

}  // namespace corvane::emulator
