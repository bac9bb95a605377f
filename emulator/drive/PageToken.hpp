#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace corvane::emulator {

/// A page token carries the place to go on at and a seal over it, the account and all other parameters: a
/// token is refused when any of them is changed, as Drive demands. Equal requests get equal tokens.
class PageToken {
 public:
  PageToken(std::uint64_t seed, std::string_view context);

  std::string write(std::uint64_t position) const;
  std::optional<std::uint64_t> read(std::string_view token) const;

 private:
  std::uint64_t seal(std::uint64_t position) const;
  std::uint64_t key_;
};

}  // namespace corvane::emulator
