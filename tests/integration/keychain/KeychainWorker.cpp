// A process for the keychain tests to start, restrict and kill.
//
//   worker [--umask OCTAL] [--file-limit BYTES] [--user ID] [--descriptors N] [--small-disk BYTES] [--read-only 1]
//          COMMAND FOLDER [ARGUMENT...]
//
//   save-loop FOLDER ACCOUNT OWNER NUMBER   saves OWNER's sessions NUMBER, NUMBER + 1, ... for ever; writes "s" at the
//                                           start, "d" after each removal and "a" after each addition
//   save-once FOLDER ACCOUNT                waits for the end of its input, adds one session, prints the status
//   read FOLDER ACCOUNT                     prints the status
//   problem FOLDER ACCOUNT                  prints what goes wrong when it reads
//   list FOLDER                             prints the status and the number of sessions
//   remove FOLDER ACCOUNT                   prints the status
//   full FOLDER                             fills its small disk to the last byte, and tells what still works
//   fill FOLDER                             adds sessions until one fails, and tells what is left

#include "Sessions.hpp"
#include "sqlite/EncryptedFileKeychain.hpp"

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace corvane::test {
namespace {

constexpr int notPermitted = 77;

void print(const char* what, OSStatus status) {
  std::cout << what << " " << status << "\n";
}

void tell(char progress) {
  if (::write(STDOUT_FILENO, &progress, 1) != 1) std::_Exit(1);
}

/// A view of the file system that only this process has; what is mounted in it goes with the process.
void enterOwnMounts() {
  if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    std::exit(notPermitted);
}

void restrict(const std::string& option, const std::string& value, const std::string& folder) {
  if (option == "--umask") {
    ::umask(static_cast<mode_t>(std::stoul(value, nullptr, 8)));
  } else if (option == "--file-limit") {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{std::stoul(value), std::stoul(value)};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) std::exit(notPermitted);
  } else if (option == "--descriptors") {
    const rlimit limit{std::stoul(value), std::stoul(value)};
    if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) std::exit(notPermitted);
  } else if (option == "--user") {
    const auto user = static_cast<uid_t>(std::stoul(value));
    if (::setresgid(user, user, user) != 0 || ::setresuid(user, user, user) != 0) std::exit(notPermitted);
  } else if (option == "--small-disk") {
    const auto parent = std::filesystem::path(folder).parent_path();
    enterOwnMounts();
    if (::mount("tmpfs", parent.c_str(), "tmpfs", 0, ("mode=0700,size=" + value).c_str()) != 0)
      std::exit(notPermitted);
  } else if (option == "--read-only") {
    enterOwnMounts();
    if (::mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
        ::mount(nullptr, folder.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) != 0)
      std::exit(notPermitted);
  }
}

int saveLoop(Keychain& keychain, const std::string& account, const std::string& owner, int number) {
  tell('s');
  for (;; ++number) {
    const auto removed = removeSession(keychain, account);
    if (removed != errSecSuccess && removed != errSecItemNotFound) return 2;
    tell('d');
    const auto added = addSession(keychain, account, sessionText(owner, number));
    if (added != errSecSuccess && added != errSecDuplicateItem) return 3;
    tell('a');
  }
}

int saveOnce(Keychain& keychain, const std::string& account) {
  tell('s');
  while (std::cin.get() != std::char_traits<char>::eof()) {
  }
  std::cout << addSession(keychain, account, sessionText(account, 1)) << "\n";
  return 0;
}

int fill(Keychain& keychain) {
  int stored = 0;
  OSStatus status = errSecSuccess;
  for (; stored < 10'000; ++stored) {
    status = addSession(keychain, "account " + std::to_string(stored), sessionText("fill", stored));
    if (status != errSecSuccess) break;
  }
  std::cout << "failed " << status << "\n";
  std::cout << "failed one " << readSession(keychain, "account " + std::to_string(stored)).status << "\n";
  int readable = 0;
  for (int i = 0; i < stored; ++i) {
    readable += readSession(keychain, "account " + std::to_string(i)).text == sessionText("fill", i) ? 1 : 0;
  }
  std::cout << "lost " << stored - readable << "\n";
  std::cout << "stored some " << (stored > 3) << "\n";
  return 0;
}

int tellList(Keychain& keychain) {
  const auto [status, count] = countSessions(keychain);
  std::cout << status << " " << count << "\n";
  return 0;
}

int fullDisk(const std::filesystem::path& folder) {
  { print("saved", addSession(*std::make_unique<EncryptedFileKeychain>(folder), "ada", "secret")); }
  std::ofstream ballast(folder.parent_path() / "ballast", std::ios::binary);
  for (int block = 0; block < 1'000'000 && ballast.put('x').flush(); ++block) {
  }
  EncryptedFileKeychain keychain(folder);
  print("read", readSession(keychain, "ada").status);
  print("listed", countSessions(keychain).first);
  print("added", addSession(keychain, "bob", "x"));
  print("removed", removeSession(keychain, "ada"));
  print("read", readSession(keychain, "ada").status);
  return 0;
}

int run(std::vector<std::string> words) {
  std::vector<std::pair<std::string, std::string>> options;
  while (words.size() > 2 && words[0].starts_with("--")) {
    options.emplace_back(words[0], words[1]);
    words.erase(words.begin(), words.begin() + 2);
  }
  words.resize(5);
  for (const auto& [option, value] : options) restrict(option, value, words[1]);
  if (words[0] == "full") return fullDisk(words[1]);
  EncryptedFileKeychain keychain(words[1], [tells = words[0] == "problem"](const std::string& sentence) {
    (tells ? std::cout : std::cerr) << sentence << "\n";
  });
  if (words[0] == "save-loop") return saveLoop(keychain, words[2], words[3], std::stoi(words[4]));
  if (words[0] == "save-once") return saveOnce(keychain, words[2]);
  if (words[0] == "fill") return fill(keychain);
  if (words[0] == "list") return tellList(keychain);
  if (words[0] == "read") {
    std::cout << readSession(keychain, words[2]).status << "\n";
  } else if (words[0] == "problem") {
    readSession(keychain, words[2]);
  } else if (words[0] == "remove") {
    std::cout << removeSession(keychain, words[2]) << "\n";
  } else {
    return 1;
  }
  return 0;
}

}  // namespace
}  // namespace corvane::test

int main(int count, char** arguments) {
  return corvane::test::run({arguments + 1, arguments + count});
}
