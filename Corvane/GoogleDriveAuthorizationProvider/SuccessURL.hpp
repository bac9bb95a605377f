#pragma once

#include <CorvanePlatform/URL.hpp>

#include <string_view>

namespace corvane {

/// The page that the browser ends on after a sign-in: the user's Drive, since that is what was just
/// connected.
inline constexpr std::string_view successURLString = "https://drive.google.com/";

/// The URL of a constant of the program. One that does not parse is the programmer's mistake and stops the
/// program.
URL urlOfConstant(std::string_view constant);

}  // namespace corvane
