#pragma once

#include <Corvane/Data.hpp>

#include <string_view>

namespace corvane {

/// A text that must not linger in memory: a token, a code, a client secret. It is wiped when dropped.
///
/// It has no stream operator and no conversion to std::string on purpose: whoever needs the text asks for it
/// with `reveal()`, where a reviewer sees it. Copies are independent. It lives on the heap at every length,
/// because a std::string would keep a short one inside itself, unwiped.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string_view text) : text_(text.begin(), text.end()) {}

  /// The text itself; valid as long as this value is neither changed nor destroyed.
  std::string_view reveal() const { return {text_.data(), text_.size()}; }
  bool empty() const { return text_.empty(); }

  bool operator==(const Secret&) const = default;

 private:
  std::vector<char, WipingAllocator<char>> text_;
};

}  // namespace corvane
