// What a platform library supplies at link time, for tests of the module alone: a text equality that knows
// the few canonical equivalences that those tests use, and a system platform made of the fakes.
#include <CorvanePlatform/Platform.hpp>
#include <CorvanePlatform/Text.hpp>

#include "support/FakePlatform.hpp"

#include <string>
#include <utility>

namespace corvane {

namespace {

// Decomposes the letters that the tests use; everything else stands for itself.
std::string decomposed(std::string_view text) {
  static const std::pair<std::string_view, std::string_view> pairs[] = {
      {"\u00E9", "e\u0301"}, {"\u00E5", "a\u030A"}, {"\u212B", "A\u030A"}, {"\u00C5", "A\u030A"}};
  std::string result(text);
  for (const auto& [composed, canonical] : pairs)
    for (auto at = result.find(composed); at != std::string::npos; at = result.find(composed, at))
      result.replace(at, composed.size(), canonical);
  return result;
}

}  // namespace

bool detail::canonicallyEqual(std::string_view left, std::string_view right) {
  return decomposed(left) == decomposed(right);
}

std::size_t detail::canonicalHash(std::string_view text) {
  return std::hash<std::string>{}(decomposed(text));
}

Platform systemPlatform() {
  if (const auto& fail = test::FakePlatform::sharedCannotBeMade()) fail();
  return test::FakePlatform::shared().platform();
}

}  // namespace corvane
