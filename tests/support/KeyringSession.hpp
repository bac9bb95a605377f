#pragma once

#include <sys/types.h>
#include <string>

namespace corvane::test {

/// A session bus of its own with a real, unlocked gnome-keyring or with nothing on it (tests/support/with-keyring), and a
/// shell in that session. This process's environment leads to the bus while the session lives; one at a time.
class KeyringSession {
 public:
  enum class Keyring { gnome, none };

  explicit KeyringSession(Keyring keyring = Keyring::gnome);
  ~KeyringSession();
  KeyringSession(const KeyringSession&) = delete;
  KeyringSession& operator=(const KeyringSession&) = delete;

  /// What the shell's command prints, standard error included. Throws when the command fails.
  std::string run(const std::string& command);

  void lockKeyring();
  /// As logging in to the desktop does.
  void unlockKeyring();

 private:
  pid_t shell_ = -1;
  int input_ = -1;
  int output_ = -1;
};

}  // namespace corvane::test
