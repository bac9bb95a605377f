#pragma once

#include <CorvaneLinux/GoogleEndpoints.hpp>
#include <CorvaneLinux/HTTPLimits.hpp>
#include <CorvaneLinux/KeychainBackend.hpp>
#include <CorvaneLinux/Presenter.hpp>
#include <CorvanePlatform/Platform.hpp>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

namespace corvane {

enum class LogLevel { off, error, warning, verbose };

/// What a host may choose of the Linux platform; the defaults are what a desktop program wants.
struct LinuxPlatformOptions {
  GoogleEndpoints google;
  /// A PEM file of certificate authorities to trust beside the system's. Verification itself cannot be switched off.
  std::string extraCAFile;
  HTTPLimits limits;

  /// Where sessions are kept. When it cannot be reached, operations fail; nothing else is used in its place.
  KeychainBackend keychainBackend = KeychainBackend::secretService;
  /// Where the encrypted keychain file and its key are; empty means `$XDG_DATA_HOME/corvane`. Only for
  /// KeychainBackend::encryptedFile.
  std::filesystem::path keychainFolder;
  /// A keychain of the host's own, in place of both.
  std::shared_ptr<Keychain> keychain;
  /// Told why a keychain operation failed, in a sentence for the user that names files and commands to
  /// run; never an account or a secret. The operation's error has no room for it: that is a status
  /// (`keychainStatus`). Called on the thread that uses the keychain, before the operation ends; at once
  /// from several. It must not throw, nor use the keychain. The log has the same sentence. A keychain of
  /// the host's own tells nothing here.
  std::function<void(const std::string& sentence)> onKeychainProblem;
  /// Once stop is requested, the desktop's keyring is asked to take its prompt back, and shows no other:
  /// the operation that waits for it ends as if the user had dismissed it. For a program that is about
  /// to end. The dialogs of gnome-keyring and KWallet stay on the screen all the same. Cancelling an
  /// operation does not take a prompt back, as others may wait for the same answer.
  std::stop_token stopAsking;

  /// Shows sign-in pages; empty means the system's browser, and the URL on standard error if there is none
  /// (SystemPresenter.hpp).
  std::shared_ptr<Presenter> presenter;
  /// The account that sign-in pages suggest; empty for none. (OpenID Connect Core 3.1.2.1, login_hint.)
  std::string loginHint;
  /// Whether `loginHint` is the only account wanted: a sign-in with another one fails, and nothing is stored.
  /// Addresses are compared without the case of ASCII letters.
  bool onlyThisAccount = false;
  /// How long a sign-in waits for the browser to come back; zero, the default, for as long as the subscription
  /// lives. Without it a sign-in whose page the user closes waits on: no browser tells of a closed tab.
  std::chrono::milliseconds signInTimeout{0};

  /// A log of the host's own; empty means standard error at `logLevel`.
  std::shared_ptr<Lumark> log;
  LogLevel logLevel = LogLevel::error;

  /// Dropped after everything else of the platform: by then the keychain is closed and the log
  /// written. A program that wants to wait for this before it exits gives a pointer whose deleter
  /// tells, on any thread.
  std::shared_ptr<void> lifetime;
};

/// Puts the platform together. Throws an AnyError that names the option when one is wrong, such as
/// an http URL that does not lead to a loopback address. Touches no file, thread or bus otherwise.
///
/// Everything made from the result shares its threads: a clock, two to four workers (more while
/// workers are blocked) and one for the network. They end when the last piece is gone.
///
/// Sessions are in the process's memory while they are used. A host that wants them in no core dump
/// calls `prctl(PR_SET_DUMPABLE, 0)` at its start (prctl(2)), as `corvane` does; a library must not
/// decide this for it.
///
/// fork(2): a forked process has none of these threads. Operations of whatever was used before the
/// fork end there with an error that says so. A host that calls daemon(3) does so before its first
/// operation. After it, a new platform works with the encrypted file only: GLib, which speaks to
/// the desktop's keyring, does not survive a fork. exec(2) is always safe.
Platform makeLinuxPlatform(LinuxPlatformOptions options = {});

}  // namespace corvane
