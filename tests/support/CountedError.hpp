#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvane::test {

/// An error that counts how often it is described: whoever computes a message that is not written
/// shows.
struct CountedError {
  static int& descriptions() {
    static int count = 0;
    return count;
  }

  int caseNumber() const { return 0; }
  std::string errorDescription() const {
    ++descriptions();
    return "counted";
  }
};

constexpr std::string_view errorTypeName(const CountedError&) {
  return "Tests.CountedError";
}

}  // namespace corvane::test
