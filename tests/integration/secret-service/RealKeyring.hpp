#pragma once

#include "libsecret/SecretServiceKeychain.hpp"
#include "support/KeyringSession.hpp"

#include <memory>
#include <string>

namespace corvane::test {

/// A session bus with a keyring that shows its dialogs on an X server of its own (`start-keyring`).
class RealKeyring {
 public:
  /// What follows `start-keyring`: "keepassxc", "keepassxc ask", "kwallet" or "gnome-prompter".
  explicit RealKeyring(const std::string& which)
      : session(which == "gnome-prompter" ? KeyringSession::Keyring::gnome : KeyringSession::Keyring::none) {
    session.run(std::string(CORVANE_START_KEYRING) + " " + which + " 2>&1; sync");
  }
  ~RealKeyring() {
    session.run(
        "kill $(jobs -p) $(cat $HOME/keyring.pids); for p in $(cat $HOME/keyring.pids); do tail --pid=$p -f "
        "/dev/null; done; true");
  }
  RealKeyring(const RealKeyring&) = delete;
  RealKeyring& operator=(const RealKeyring&) = delete;

  /// A dialog that a key is to be pressed in as soon as it is shown.
  class Dialog {
   public:
    Dialog(RealKeyring& keyring, const std::string& title, const std::string& key) : keyring_(keyring) {
      keyring_.session.run(
          "export DISPLAY=:$(cat $HOME/display); "
          "(until window=$(xdotool search --onlyvisible --name '" +
          title + "'); do sleep 0.02; done; xdotool windowfocus --sync $window key " + key +
          ") >/dev/null 2>&1 &");
    }
    /// Waits no longer, if it was never shown.
    ~Dialog() { keyring_.session.run("kill %% 2>/dev/null; true"); }
    Dialog(const Dialog&) = delete;
    Dialog& operator=(const Dialog&) = delete;

   private:
    RealKeyring& keyring_;
  };
  Dialog answerDialog(const std::string& title, const std::string& key) { return {*this, title, key}; }

  /// Waits until a dialog of this title is on the screen. Throws after half a minute.
  void waitForDialog(const std::string& title) {
    session.run("export DISPLAY=:$(cat $HOME/display); for i in $(seq 600); do if"
                " xdotool search --onlyvisible --name '" +
                title + "' >/dev/null; then break; fi; sleep 0.05; done; [ $i -lt 600 ]");
  }

  KeyringSession session;
};

}  // namespace corvane::test
