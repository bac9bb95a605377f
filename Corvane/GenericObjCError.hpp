#pragma once

#include <string_view>

namespace corvane {

/// Stands in for the error that a selector form owed and did not give.
enum class GenericObjCError { nilError };

constexpr std::string_view errorTypeName(const GenericObjCError&) {
  return "Foundation._GenericObjCError";
}

}  // namespace corvane
