#include "TessoraCredentials.hpp"

#include <Corvane/AnyError.hpp>

#include <utility>

namespace corvane {

namespace {

Secret decodeSecret(const KeyedDecodingContainer& container, const CodingKey& key) {
  std::string text = container.decodeText(key);
  Secret secret(text);
  wipeMemory(text.data(), text.size());
  return secret;
}

}  // namespace

std::optional<CodingKey> TessoraCredentials::CodingKeys::fromString(std::string_view text) {
  for (const auto& key : {clientID, clientSecret})
    if (key.stringValue() == text) return key;
  return std::nullopt;
}

TessoraCredentials TessoraCredentials::decode(const Decoder& decoder) {
  const auto container = decoder.keyedContainer();
  std::string id = container->decodeText(CodingKeys::clientID);
  return {std::move(id), decodeSecret(*container, CodingKeys::clientSecret)};
}

std::optional<QVTessoraCredentials> decodeCredentials(const std::optional<Data>& document, const JSON& json) {
  if (!document) return std::nullopt;
  try {
    auto credentials = json.decode<TessoraCredentials>(*document);
    return QVTessoraCredentials(std::move(credentials.clientID), std::move(credentials.clientSecret));
  } catch (const AnyError&) {
    return std::nullopt;  // shows when somebody signs in
  }
}

}  // namespace corvane
