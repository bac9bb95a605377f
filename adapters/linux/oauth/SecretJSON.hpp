#pragma once

#include "SecretObject.hpp"

#include <nlohmann/json.hpp>

namespace corvane {

/// The library with texts that are wiped when dropped. Only its events and single values are used: its trees need
/// memory to be dropped, and end the program when there is none.
using SecretJSON = nlohmann::basic_json<std::map, std::vector, SecretString, bool, std::int64_t,
                                        std::uint64_t, double, WipingAllocator>;

}  // namespace corvane
