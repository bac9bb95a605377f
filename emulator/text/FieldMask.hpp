#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace corvane::emulator {

/// A parsed `fields` parameter: `a,b/c,d(e,f/g)`, `*` for all (Google, "Return specific fields").
/// The same notation describes which fields exist, so that one mask can be checked against another.
class FieldMask {
 public:
  /// Nothing when the text is malformed.
  static std::optional<FieldMask> parse(std::string_view text);
  static const FieldMask& all();

  bool wants(std::string_view name) const { return whole_ || children_.contains(name); }
  /// The mask for what is inside `name`, which must be wanted.
  const FieldMask& inside(std::string_view name) const;
  /// The first field selected here that `known` has not; nothing when all exist.
  std::optional<std::string> firstUnknown(const FieldMask& known) const;

 private:
  friend class FieldMaskParser;
  bool whole_ = false;
  std::map<std::string, FieldMask, std::less<>> children_;
};

}  // namespace corvane::emulator
