#pragma once

#include <simdjson.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace corvane {

/// How one member of an object is read, by its name.
template <class Object>
struct Member {
  std::string_view name;
  void (*read)(Object& object, simdjson::dom::element value);
};

/// Reads the members that a table names, each at most once, in one pass over the source.
///
/// The first of two members of one name counts, also when it is of the wrong kind. Servers write the members
/// of like objects in one order, so the search begins behind the last match and mostly ends there.
template <class Object, std::size_t count>
void readMembers(Object& object, const simdjson::dom::object& source,
                 const std::array<Member<Object>, count>& table) {
  static_assert(count <= 32);
  std::uint32_t seen = 0;
  std::size_t next = 0;
  for (const auto field : source) {
    for (std::size_t tried = 0; tried < count; ++tried) {
      const std::size_t index = next;
      next = next + 1 == count ? 0 : next + 1;
      if (table[index].name != field.key) continue;
      const std::uint32_t bit = std::uint32_t{1} << index;
      if ((seen & bit) == 0) table[index].read(object, field.value);
      seen |= bit;
      break;
    }
  }
}

}  // namespace corvane
