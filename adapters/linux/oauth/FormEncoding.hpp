#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/Secret.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane {

/// Percent-encodes all but RFC 3986's unreserved characters, which serves queries and form bodies alike.
std::string percentEncoded(std::string_view text);
/// The same at the end of a text, with no copy elsewhere.
void appendPercentEncoded(std::string& text, std::string_view value);

/// A body of type application/x-www-form-urlencoded, built in memory that is wiped.
class FormBody {
 public:
  FormBody& add(std::string_view name, std::string_view value);
  Data take() { return std::move(bytes_); }

 private:
  void append(std::string_view text);
  Data bytes_;
};

using FormParameters = std::vector<std::pair<std::string, Secret>>;

/// The parameters of a query, decoded. Nothing when an escape is broken or when a name comes twice, which
/// OAuth forbids (RFC 6749 section 3.1) and which would leave it open which of the two counts.
std::optional<FormParameters> parseForm(std::string_view text);

/// The value of a parameter, or null.
const Secret* findParameter(const FormParameters& parameters, std::string_view name);

}  // namespace corvane
