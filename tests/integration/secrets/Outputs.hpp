#pragma once

#include <Corvane/NSError.hpp>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::test {

/// All that a program showed to anybody, by where it showed it.
class Outputs {
 public:
  void add(const std::string& where, std::string_view text);
  /// An error with all that hangs on it.
  void add(const std::string& where, const NSError& error);

  /// Where the secret stands: as it is, percent-encoded, in base64 (both alphabets, at any offset) or in hexadecimal.
  std::vector<std::string> placesOf(std::string_view secret) const;
  bool empty() const { return texts_.empty(); }
  std::size_t size() const;

 private:
  std::map<std::string, std::string> texts_;
};

}  // namespace corvane::test
