#pragma once

#include <CorvanePlatform/JSON.hpp>

#include "support/PlainCoder.hpp"

namespace corvane::test {

/// A JSON coder for tests of the module alone, over `PlainValue` trees.
class PlainJSON final : public JSON {
 public:
  std::unique_ptr<Decoder> decoder(const Data& document) const override;
  std::string encode(const std::function<void(Encoder&)>& encode) const override;
};

}  // namespace corvane::test
