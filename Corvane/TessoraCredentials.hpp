#pragma once

#include <Corvane/CodingKey.hpp>
#include <Corvane/Data.hpp>
#include <Corvane/KeyedCoding.hpp>
#include <Corvane/Secret.hpp>
#include <CorvanePlatform/JSON.hpp>
#include <CorvanePlatform/SignInService.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace corvane {

/// The OAuth client as the host's JSON document gives it. The two keys follow different conventions on
/// purpose: hosts store them so.
struct TessoraCredentials {
  struct CodingKeys {
    static constexpr CodingKey clientID{"client_id"};
    static constexpr CodingKey clientSecret{"clientSecret"};

    /// The key of exactly that text, letter case included.
    static std::optional<CodingKey> fromString(std::string_view text);
    /// Keys have no integer form.
    static std::optional<CodingKey> fromInteger(int) { return std::nullopt; }
  };

  std::string clientID;
  Secret clientSecret;

  /// Both texts are required and taken as they stand. Errors: the decoder's, unchanged.
  static TessoraCredentials decode(const Decoder& decoder);
};

/// The sign-in credentials in a host's document; nothing if there is none, or it cannot be decoded.
std::optional<QVTessoraCredentials> decodeCredentials(const std::optional<Data>& document, const JSON& json);

}  // namespace corvane
