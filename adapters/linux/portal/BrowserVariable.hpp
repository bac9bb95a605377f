#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// The commands in a value of the environment variable BROWSER: separated by colons, each a program and
/// arguments separated by blanks. No quotes, no shell; a `%s` for the URL is dropped when it is the last
/// word, as the URL is appended anyway, and a command with one elsewhere is left out.
std::vector<std::vector<std::string>> browserCommands(std::string_view variable);

}  // namespace corvane
