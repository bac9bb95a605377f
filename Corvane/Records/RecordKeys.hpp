#pragma once

#include <Corvane/CodingKey.hpp>
#include <Corvane/RecordTable.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

// What follows from the names in a record's table: its coding keys and its partial-response field list.
namespace corvane {

/// The keys of a record's keyed container, one per field.
template <class Record>
struct RecordKeys {
  /// The key of exactly that text, letter case included.
  static std::optional<CodingKey> fromString(std::string_view text) {
    std::optional<CodingKey> key;
    std::apply(
        [&](const auto&... field) { ((field.name == text ? void(key.emplace(field.name)) : void()), ...); },
        RecordTable::of<Record>());
    return key;
  }

  /// Keys have no integer form.
  static std::optional<CodingKey> fromInteger(int) { return std::nullopt; }
};

/// The names in field order, a nested record followed by its own list in parentheses.
template <class Record>
std::string makeAPIFields() {
  std::string list;
  const auto append = [&list](const auto& field) {
    using Value = typename std::remove_cvref_t<decltype(field)>::Type;
    if (!list.empty()) list += ',';
    list += field.name;
    if constexpr (TabledRecord<Value>) list += "(" + Value::apiFields() + ")";
  };
  std::apply([&](const auto&... field) { (append(field), ...); }, RecordTable::of<Record>());
  return list;
}

}  // namespace corvane
