#include "SuccessURL.hpp"

#include <cstdio>
#include <cstdlib>

namespace corvane {

URL urlOfConstant(std::string_view constant) {
  auto url = URL::parse(constant);
  if (!url) {
    std::fprintf(stderr, "Corvane: not a URL: %.*s\n", static_cast<int>(constant.size()), constant.data());
    std::abort();
  }
  return *std::move(url);
}

}  // namespace corvane
