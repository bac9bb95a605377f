#pragma once

#include <Corvane/KeyedCoding.hpp>

#include <functional>
#include <string>

namespace corvane {

/// Appends the one value that `encode` writes to the document.
void writeJSON(std::string& document, const std::function<void(Encoder&)>& encode);

}  // namespace corvane
