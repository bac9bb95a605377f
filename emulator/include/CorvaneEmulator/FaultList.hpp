#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CorvaneEmulator/Fault.hpp>

namespace corvane::emulator {

/// The faults to come, each used once, in the order of adding. Any thread may use it.
///
/// Operations: about, files.list, files.get, files.update, files.delete, auth, auth.consent, token, revoke,
/// userinfo, certs, discovery, unknown; `*` matches any of them.
class FaultList {
 public:
  struct Entry {
    std::string operation;
    Fault fault;
  };

  /// Throws std::invalid_argument for an operation that does not exist: such a fault would never be used.
  void add(std::string operation, Fault fault);
  void add(std::string operation, Fault fault, std::size_t times);
  /// The faults not used yet. A test should find none at its end.
  std::vector<Entry> remaining() const;
  bool empty() const { return remaining().empty(); }
  /// One line for each fault left over, for failure messages.
  std::string description() const;
  void clear();
  /// Opens the gates of all faults ever added.
  void releaseHeld();

  /// For the server: the first fault for the operation, removed.
  std::optional<Fault> take(std::string_view operation);

 private:
  mutable std::mutex mutex_;
  std::vector<Entry> entries_;
  std::vector<std::weak_ptr<Gate>> gates_;
};

}  // namespace corvane::emulator
