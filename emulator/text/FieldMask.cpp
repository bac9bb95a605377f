#include "text/FieldMask.hpp"

namespace corvane::emulator {

/// list = item *("," item); item = name ["/" item / "(" list ")"]; name = 1*ALNUM / "*"
class FieldMaskParser {
 public:
  explicit FieldMaskParser(std::string_view text) : rest_(text) {}

  bool parseAll(FieldMask& mask) { return parseList(mask, 0) && rest_.empty(); }

 private:
  static constexpr int deepest = 16;

  bool parseList(FieldMask& mask, int depth) {
    do {
      if (!parseItem(mask, depth)) return false;
    } while (skip(','));
    return true;
  }

  bool parseItem(FieldMask& mask, int depth) {
    const auto name = takeName();
    if (name.empty() || depth > deepest) return false;
    if (name == "*") {
      mask.whole_ = true;
      return true;
    }
    auto& child = mask.children_[std::string(name)];
    if (skip('/')) return parseItem(child, depth + 1);
    if (skip('(')) return parseList(child, depth + 1) && skip(')');
    child.whole_ = true;
    return true;
  }

  std::string_view takeName() {
    std::size_t length = 0;
    while (length < rest_.size() && isNameCharacter(rest_[length])) ++length;
    const auto name = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return name.find('*') != std::string_view::npos && name != "*" ? std::string_view{} : name;
  }

  static bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '*';
  }

  bool skip(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  std::string_view rest_;
};

std::optional<FieldMask> FieldMask::parse(std::string_view text) {
  FieldMask mask;
  if (!FieldMaskParser(text).parseAll(mask)) return std::nullopt;
  return mask;
}

const FieldMask& FieldMask::all() {
  static const FieldMask mask = *parse("*");
  return mask;
}

const FieldMask& FieldMask::inside(std::string_view name) const {
  if (whole_) return all();
  return children_.find(name)->second;
}

std::optional<std::string> FieldMask::firstUnknown(const FieldMask& known) const {
  for (const auto& [name, child] : children_) {
    if (!known.wants(name)) return name;
    const auto& inner = known.inside(name);
    // A leaf has nothing inside that could be selected.
    if (inner.whole_ && !known.whole_ && !child.children_.empty()) return child.children_.begin()->first;
    if (const auto unknown = child.firstUnknown(inner)) return unknown;
  }
  return std::nullopt;
}

}  // namespace corvane::emulator
