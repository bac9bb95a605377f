#pragma once

#include <string_view>

namespace corvane {

/// Compares without telling by its duration where the texts differ; lengths are no secret.
bool equalInConstantTime(std::string_view left, std::string_view right);

}  // namespace corvane
