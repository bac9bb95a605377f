#pragma once

#include "libsecret/SecretServiceKeychain.hpp"
#include "support/KeyringSession.hpp"
#include "support/TemporaryFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace corvane::test {

/// A session bus whose keyring misbehaves as the options of `faulty-keyring` ask for.
class FaultyKeyring {
 public:
  ~FaultyKeyring() { stop(); }

  void start(const std::string& options = {}) {
    stop();
    forgetCalls();
    const auto log = (folder.path() / "faulty.log").string();
    const auto command = std::string(CORVANE_FAULTY_KEYRING) + " --journal " + journal() + " " + options;
    process_ = session.run(command + " >" + log + " 2>&1 & echo -n $!");
    waitFor("ready");
  }

  void stop() {
    if (!process_.empty())
      session.run("kill -KILL " + process_ + " 2>/dev/null; wait " + process_ + "; true");
    process_.clear();
  }

  /// The daemon is there, but does nothing any more.
  void freeze() { session.run("kill -STOP " + process_); }
  void thaw() { session.run("kill -CONT " + process_); }

  void lock() {
    session.run(
        "dbus-send --session --print-reply --dest=org.freedesktop.secrets /org/freedesktop/secrets "
        "org.freedesktop.Secret.Service.Lock array:objpath:/org/freedesktop/secrets/collection/default");
  }

  long calls(const std::string& name) const { return std::ranges::count(journalLines(), name); }
  long allCalls() const { return std::ssize(journalLines()); }
  void forgetCalls() { std::ofstream(journal(), std::ios::trunc); }
  void waitFor(const std::string& call) const {
    for (int i = 0; i < 6000 && calls(call) == 0; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (calls(call) == 0) throw std::runtime_error("the faulty keyring never came to " + call);
  }

  KeyringSession session{KeyringSession::Keyring::none};
  TemporaryFolder folder;

 private:
  std::string journal() const { return folder.path() / "journal"; }
  std::vector<std::string> journalLines() const {
    std::vector<std::string> lines;
    std::ifstream file(journal());
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
  }

  std::string process_;
};

/// A keychain on such a bus.
class FaultyKeyringTest : public testing::Test, protected FaultyKeyring {
 protected:
  SecretServiceKeychain& keychain(SecretServiceLimits limits = {}) {
    keychain_ = std::make_unique<SecretServiceKeychain>(
        [this](const std::string& sentence) {
          const std::lock_guard lock(mutex_);
          problems.push_back(sentence);
        },
        limits);
    return *keychain_;
  }

  static SecretServiceLimits impatientForReplies() { return {.reply = std::chrono::milliseconds(300)}; }
  static SecretServiceLimits impatientForPrompts() { return {.prompt = std::chrono::milliseconds(300)}; }

  static KeychainDictionary account(const std::string& name) {
    return {{std::string(kSecClass), kSecClassGenericPassword},
            {std::string(kSecAttrService), "service"},
            {std::string(kSecAttrAccount), name}};
  }
  static KeychainDictionary with(KeychainDictionary query, std::string_view key, KeychainValue value) {
    query.insert_or_assign(std::string(key), std::move(value));
    return query;
  }
  static OSStatus add(Keychain& keychain, const std::string& name, const std::string& secret = "secret") {
    return keychain.SecItemAdd(with(account(name), kSecValueData, dataFromText(secret)), nullptr);
  }
  static OSStatus remove(Keychain& keychain, const std::string& name) {
    return keychain.SecItemDelete(account(name));
  }
  static OSStatus read(Keychain& keychain, const std::string& name, std::string* secret = nullptr) {
    KeychainValue result;
    const auto status = keychain.SecItemCopyMatching(with(account(name), kSecReturnData, true), &result);
    if (secret && result.data()) *secret = textView(*result.data());
    return status;
  }

  std::vector<std::string> problems;

 private:
  std::mutex mutex_;
  std::unique_ptr<SecretServiceKeychain> keychain_;
};

}  // namespace corvane::test
