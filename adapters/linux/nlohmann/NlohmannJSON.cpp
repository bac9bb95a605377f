#include "nlohmann/NlohmannJSON.hpp"

#include "nlohmann/JSONDecoder.hpp"
#include "nlohmann/JSONDocument.hpp"
#include "nlohmann/JSONEncoder.hpp"

namespace corvane {

std::unique_ptr<Decoder> NlohmannJSON::decoder(const Data& document) const {
  return jsonDecoder(std::make_shared<const JSONValue>(parseJSON(textView(document))));
}

std::string NlohmannJSON::encode(const std::function<void(Encoder&)>& encode) const {
  std::string document;
  writeJSON(document, encode);
  return document;
}

}  // namespace corvane
