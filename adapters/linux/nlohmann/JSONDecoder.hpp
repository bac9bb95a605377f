#pragma once

#include <Corvane/KeyedCoding.hpp>

#include <memory>

namespace corvane {

struct JSONValue;

/// A decoder over a value, which it and everything made from it keep alive.
std::unique_ptr<Decoder> jsonDecoder(std::shared_ptr<const JSONValue> value);

}  // namespace corvane
