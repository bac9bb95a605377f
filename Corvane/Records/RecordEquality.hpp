#pragma once

#include <Corvane/RecordTable.hpp>
#include <CorvanePlatform/Text.hpp>

#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

// Equality by a record's table: field by field in order, up to the first difference. Texts are compared as
// users see them, everything else by value.
namespace corvane::equality {

template <class Value>
bool equal(const Value& left, const Value& right) {
  return left == right;
}
inline bool equal(const std::string& left, const std::string& right) {
  return textEqual(left, right);
}
template <class Element>
bool equal(const std::vector<Element>& left, const std::vector<Element>& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const Element& a, const Element& b) { return equal(a, b); });
}
template <class Value>
bool equal(const std::optional<Value>& left, const std::optional<Value>& right) {
  return left.has_value() == right.has_value() && (!left || equal(*left, *right));
}

template <class Record>
bool equalRecords(const Record& left, const Record& right) {
  return std::apply(
      [&](const auto&... field) { return (equal(left.*field.member, right.*field.member) && ...); },
      RecordTable::of<Record>());
}

}  // namespace corvane::equality
