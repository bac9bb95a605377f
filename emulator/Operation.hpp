#pragma once

#include <string_view>

namespace corvane::emulator {

/// The name under which faults and the journal know a request.
std::string_view operationOf(std::string_view method, std::string_view path);
bool isOperation(std::string_view name);

}  // namespace corvane::emulator
