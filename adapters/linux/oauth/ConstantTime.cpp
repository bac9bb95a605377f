#include "ConstantTime.hpp"

#include <sodium.h>

namespace corvane {

bool equalInConstantTime(std::string_view left, std::string_view right) {
  return left.size() == right.size() && sodium_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace corvane
