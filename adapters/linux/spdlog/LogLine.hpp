#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// Appends a text so that it stays on its line and cannot drive a terminal: control characters and line separators
/// are escaped ("\n", "\u{85}"), bytes that are not UTF-8 too ("\xFF"); all else stands as it is.
void appendEscaped(std::string& line, std::string_view text);

}  // namespace corvane
