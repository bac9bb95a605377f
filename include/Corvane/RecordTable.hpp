#pragma once

#include <string_view>
#include <tuple>

namespace corvane {

/// One row of a record's table: the name by which coders and the Drive API know a field, and where it is.
template <class Record, class Value>
struct RecordField {
  using Type = Value;
  std::string_view name;
  Value Record::*member;
};

template <class Record, class Value>
constexpr RecordField<Record, Value> recordField(std::string_view name, Value Record::*member) {
  return {name, member};
}

/// A record writes its fields down once, in a private table; coding keys, the partial-response field list,
/// equality, encoding and decoding all follow from it. This is how they reach it.
struct RecordTable {
  template <class Record>
  static constexpr auto of() {
    return Record::table();
  }

  template <class Type>
  static constexpr bool isThere = requires {
    Type::table();
  };
};

template <class Type>
concept TabledRecord = RecordTable::isThere<Type>;

}  // namespace corvane
