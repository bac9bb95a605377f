#include "CredentialsFile.hpp"
#include "Failure.hpp"
#include "Input.hpp"
#include "TessoraCredentials.hpp"
#include "nlohmann/NlohmannJSON.hpp"

#include <optional>
#include <string>

// The OAuth client that a host or the user of the program hands in.

namespace corvane::fuzz {
namespace {

/// What the program makes of a file, or nothing when it refuses it.
std::optional<Data> fromFile(const Data& document) {
  try {
    return cli::credentialsFrom(document, "client.json");
  } catch (const cli::Failure& failure) {
    require(failure.exitCode == cli::ExitCode::usage, "a wrong file is a usage error");
    require(failure.headline.find("client.json") != std::string::npos, "a refusal names the file");
    return std::nullopt;
  }
}

}  // namespace
}  // namespace corvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  const NlohmannJSON json;
  const Data document = dataFromText(fuzz::inputText(bytes, size));
  const auto given = decodeCredentials(document, json);
  const auto rewritten = fuzz::fromFile(document);
  if (rewritten) {
    const auto taken = decodeCredentials(*rewritten, json);
    fuzz::require(taken.has_value(), "what the program accepts the module takes");
    fuzz::require(!taken->clientID().empty() && !taken->clientSecret().empty(),
                  "what the program accepts is complete");
    fuzz::require(fuzz::fromFile(*rewritten) == rewritten, "the module's form stays as it is");
  }
  try {
    (void)json.decode<TessoraCredentials>(document);
    fuzz::require(given.has_value(), "what can be decoded is taken");
  } catch (const AnyError& error) {
    fuzz::require(!given, "what cannot be decoded is not taken");
    fuzz::require(error.holds<DecodingError>(), "a refusal is a decoding error");
  }
  return 0;
}
