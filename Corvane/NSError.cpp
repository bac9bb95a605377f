#include <Corvane/AnyError.hpp>
#include <Corvane/NSError.hpp>

namespace corvane {

std::string NSError::localizedDescription() const {
  if (auto description = text(NSLocalizedDescriptionKey)) return *std::move(description);
  return "The operation couldn’t be completed. (" + domain() + " error " + std::to_string(code()) + ".)";
}

std::optional<std::string> NSError::text(std::string_view key) const {
  const auto entry = userInfo().find(std::string(key));
  if (entry == userInfo().end() || !entry->second.text()) return std::nullopt;
  return *entry->second.text();
}

const AnyError* NSError::underlyingError() const {
  const auto entry = userInfo().find(std::string(NSUnderlyingErrorKey));
  return entry == userInfo().end() ? nullptr : entry->second.error();
}

}  // namespace corvane
