#pragma once

#include <CorvaneEmulator/FaultList.hpp>
#include <string_view>
#include <vector>

namespace corvane::emulator {

/// Faults as other processes write them: one object or an array of them, each with `operation`, optionally
/// `times`, and the members of Fault, directly or in an object `fault` (`delay` and `slowInterval` in milliseconds, `hold` for a gate that
/// /__emulator__/release opens, `reset: true` for a reset before any answer). Throws std::invalid_argument
/// naming what is wrong; an unknown member is an error.
std::vector<FaultList::Entry> faultsFromJSON(std::string_view text);

}  // namespace corvane::emulator
