#pragma once

#include <initializer_list>
#include <optional>
#include <string_view>

#include "Message.hpp"
#include "drive/DriveErrors.hpp"
#include "text/FieldMask.hpp"
#include "text/Parameters.hpp"

namespace corvane::emulator {

/// A Drive request's query, checked: every parameter is known, given once and has a sound value. Thrown
/// out with a DriveError otherwise.
class DriveParameters {
 public:
  DriveParameters(const Request& request, std::initializer_list<std::string_view> known);

  std::optional<std::string_view> find(std::string_view name) const { return query_.find(name); }
  bool flag(std::string_view name) const { return query_.get(name) == "true"; }
  bool pretty() const { return query_.get("prettyPrint") != "false"; }
  /// The `fields` parameter, or the method's default; all fields selected exist in `schema`.
  FieldMask fields(const FieldMask& schema, std::string_view fallback) const;
  std::size_t pageSize() const;
  const Parameters& all() const { return query_; }

 private:
  Parameters query_;
};

}  // namespace corvane::emulator
