#include <Corvane/AnyError.hpp>
#include <Corvane/NSError.hpp>

namespace corvane {

std::string NSError::localizedDescription() const {
  if (auto description = text(NSLocalizedDescriptionKey)) return *std::move(description);
  return "The operation couldn’t be completed. (" + domain_ + " error " + std::to_string(code_) + ".)";
}

std::optional<std::string> NSError::text(std::string_view key) const {
  const auto entry = userInfo_.find(std::string(key));
  if (entry == userInfo_.end() || !entry->second.text()) return std::nullopt;
  return *entry->second.text();
}

const AnyError* NSError::underlyingError() const {
  const auto entry = userInfo_.find(std::string(NSUnderlyingErrorKey));
  return entry == userInfo_.end() ? nullptr : entry->second.error();
}

}  // namespace corvane
