#pragma once

#include "present/Style.hpp"

#include <CorvaneLinux/LinuxPlatform.hpp>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace corvane::cli {

struct GlobalOptions {
  std::string credentialsFile;  // empty when not given
  KeychainBackend keychain = KeychainBackend::secretService;
  std::string google;  // another Google's base URL; empty for the real one
  std::string caFile;
  bool json = false;
  ColorChoice color = ColorChoice::automatic;
  bool progress = true;
  LogLevel logLevel = LogLevel::off;
};

struct SignInOptions {
  bool openBrowser = true;
  std::chrono::milliseconds timeout{300'000};
  std::string account;
};
struct AccountsOptions {};
struct StatusOptions {};
struct AboutOptions {
  std::optional<std::string> account;  // none: the only one signed in; likewise below
};
struct LsOptions {
  std::optional<std::string> account;
  std::optional<std::string> pageToken;
  std::optional<std::size_t> pages;
};
struct TrashOptions {
  std::vector<std::string> fileIDs;
  std::optional<std::string> account;
};
struct RmOptions {
  std::vector<std::string> fileIDs;
  std::optional<std::string> account;
  bool permanently = false;
};
struct SignOutOptions {
  std::string account;
};

using CommandOptions = std::variant<SignInOptions, AccountsOptions, StatusOptions, AboutOptions, LsOptions,
                                    TrashOptions, RmOptions, SignOutOptions>;

struct Options {
  GlobalOptions global;
  CommandOptions command;
};

/// A text that was asked for in place of a command: the help or the version.
struct InfoText {
  std::string text;
};

/// Reads the command line. Throws a usage Failure that names what is wrong with it.
std::variant<Options, InfoText> parseCommandLine(int argc, const char* const* argv);

/// Whether errors in the command line itself are to be told in JSON.
bool asksForJSON(int argc, const char* const* argv);

}  // namespace corvane::cli
