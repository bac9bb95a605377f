#pragma once

#include "Style.hpp"

#include <Corvane/About.hpp>

#include <string>

namespace corvane::cli {

/// An account's profile and quota for people: a bar with numbers, a line for each fact.
std::string aboutPage(const About& about, const Style& style);

}  // namespace corvane::cli
