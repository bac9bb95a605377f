#include "drive/DriveParameters.hpp"

#include <algorithm>
#include <array>
#include <charconv>

namespace corvane::emulator {
namespace {

constexpr std::array<std::string_view, 6> common = {"alt",         "fields",    "key",
                                                    "prettyPrint", "quotaUser", "$.xgafv"};
constexpr std::array<std::string_view, 5> flags = {"prettyPrint", "supportsAllDrives", "supportsTeamDrives",
                                                   "includeItemsFromAllDrives", "acknowledgeAbuse"};
constexpr std::size_t longestQuotaUser = 40;

template <class List>
bool has(const List& list, std::string_view name) {
  return std::ranges::find(list, name) != list.end();
}

void checkValue(std::string_view name, std::string_view value) {
  const auto refuse = [name](std::string message) {
    throw DriveError::invalidParameter(name, std::move(message));
  };
  if (has(flags, name) && value != "true" && value != "false") {
    refuse("Invalid boolean value for '" + std::string(name) + "'");
  }
  if (name == "alt" && value != "json") refuse("Only alt=json is served");
  if (name == "quotaUser" && value.size() > longestQuotaUser) refuse("quotaUser is too long");
  if (name == "$.xgafv" && value != "1" && value != "2") refuse("Invalid error format");
}

Parameters parsed(const Request& request) {
  auto query = Parameters::parse(request.query());
  if (!query) throw DriveError::badRequest("The query is malformed or names a parameter twice");
  return std::move(*query);
}

}  // namespace

DriveParameters::DriveParameters(const Request& request, std::initializer_list<std::string_view> known)
    : query_(parsed(request)) {
  for (const auto& [name, value] : query_.all()) {
    if (!has(common, name) && !has(known, name)) {
      throw DriveError::invalidParameter(name, "Unknown parameter '" + name + "'");
    }
    checkValue(name, value);
  }
}

FieldMask DriveParameters::fields(const FieldMask& schema, std::string_view fallback) const {
  const auto text = query_.find("fields").value_or(fallback);
  auto mask = FieldMask::parse(text);
  if (!mask) throw DriveError::invalidParameter("fields", "Invalid field selection " + std::string(text));
  if (const auto unknown = mask->firstUnknown(schema)) {
    throw DriveError::invalidParameter("fields", "Invalid field selection " + *unknown);
  }
  return std::move(*mask);
}

std::size_t DriveParameters::pageSize() const {
  constexpr int usual = 100;
  constexpr int most = 1000;
  const auto text = query_.find("pageSize");
  if (!text) return usual;
  int value = 0;
  const auto* last = text->data() + text->size();
  const auto [end, error] = std::from_chars(text->data(), last, value);
  if (error != std::errc{} || end != last || value < 1 || value > most) {
    throw DriveError::invalidParameter(
        "pageSize", "Invalid value '" + std::string(*text) + "'. Values must be within the range: [1, 1000]");
  }
  return static_cast<std::size_t>(value);
}

}  // namespace corvane::emulator
