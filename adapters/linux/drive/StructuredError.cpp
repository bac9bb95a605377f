#include "StructuredError.hpp"

#include "OneLine.hpp"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace corvane {
namespace {

constexpr std::size_t maximumEntries = 10;      // of each list
constexpr std::size_t maximumEntryBytes = 200;  // of each text but the message

/// "name: value" parts, those that are empty left out.
class Parts {
 public:
  void add(std::string_view name, std::string_view value) {
    if (value.empty()) return;
    if (!text_.empty()) text_ += ", ";
    text_.append(name).append(": ").append(value);
  }
  std::string finish() && { return '{' + std::move(text_) + '}'; }

 private:
  std::string text_;
};

std::string quoted(std::string_view text, std::string_view secret,
                   std::size_t maximumBytes = maximumEntryBytes) {
  return text.empty() ? std::string() : '"' + oneLine(text, secret, maximumBytes) + '"';
}

std::string describe(const DriveErrorObject::Item& item, std::string_view secret) {
  Parts parts;
  parts.add("domain", quoted(item.domain, secret));
  parts.add("reason", quoted(item.reason, secret));
  parts.add("message", quoted(item.message, secret));
  parts.add("locationType", quoted(item.locationType, secret));
  parts.add("location", quoted(item.location, secret));
  return std::move(parts).finish();
}

std::string describe(const DriveErrorObject::Detail& detail, std::string_view secret) {
  Parts parts;
  parts.add("reason", quoted(detail.reason, secret));
  parts.add("domain", quoted(detail.domain, secret));
  return std::move(parts).finish();
}

template <class Entry>
std::string describe(const std::vector<Entry>& entries, std::string_view secret) {
  if (entries.empty()) return {};
  std::string text;
  for (std::size_t i = 0; i < std::min(entries.size(), maximumEntries); ++i)
    text += (i == 0 ? "[" : ", ") + describe(entries[i], secret);
  return text + (entries.size() > maximumEntries ? ", …]" : "]");
}

}  // namespace

StructuredError::StructuredError(const DriveErrorObject& error, std::string_view secret) {
  Parts parts;
  parts.add("code", error.code ? std::to_string(*error.code) : std::string());
  parts.add("message", quoted(error.message, secret, 1'000));
  parts.add("status", quoted(error.status, secret));
  parts.add("errors", describe(error.errors, secret));
  parts.add("details", describe(error.details, secret));
  description_ = std::move(parts).finish();
}

}  // namespace corvane
