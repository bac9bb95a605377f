#pragma once

#include "../Failure.hpp"
#include "Style.hpp"

#include <string>

namespace corvane::cli {

/// A failure for people: what could not be done, why, and what to do, a line each.
std::string reportForPeople(const Failure& failure, const Style& style);

/// A failure for programs, as one line: {"error":{"kind":…,"domain":…,"code":…,"message":…}} and more where known.
std::string reportInJSON(const Failure& failure);

}  // namespace corvane::cli
