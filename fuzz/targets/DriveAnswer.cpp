#include "GoogleDriveAPI/Conversions.hpp"
#include "Input.hpp"
#include "drive/DriveErrors.hpp"
#include "drive/StructuredError.hpp"
#include "nlohmann/NlohmannJSON.hpp"
#include "simdjson/SIMDJSONDriveParser.hpp"

#include <Corvane/FilesPage.hpp>
#include <Corvane/StorageQuota.hpp>
#include <Corvane/User.hpp>
#include <HTTPClient.hpp>

#include <algorithm>
#include <string>

// What Drive answers, all the way to the module's records and errors.

namespace corvane::fuzz {
namespace {

constexpr std::string_view token = "ya29.fuzz-token";

/// What is read must be writable as the keyed coder's JSON and come back from there.
template <class Record>
void requireCodable(const Record& record) {
  const NlohmannJSON json;
  const std::string document = json.encoded(record);
  const auto again = json.decode<Record>(dataFromText(document));
  require(again == record, "a record survives coding");
  require(json.encoded(again) == document, "a record is written alike twice");
}

void requireFit(const NSError& error) {
  const std::string text = error.localizedDescription();
  require(!text.empty(), "an error has a description");
  require(text.find(token) == text.npos, "an error does not repeat the token");
  require(text.find('\n') == text.npos, "an error's description is one line");
}

void readError(const DriveErrorObject& error) {
  const std::string text = StructuredError(error, token).description();
  require(text.find(token) == text.npos, "a structured error does not repeat the token");
  require(std::none_of(text.begin(), text.end(), [](char c) { return (c >= 0 && c < ' ') || c == 0x7F; }),
          "a structured error is one line");
  requireFit(googleError(error, 403, "www.googleapis.com", token));
}

std::string listingOf(const SIMDJSONDriveParser& parser, const Data& body) {
  auto list = parser.fileList(body);
  if (!list) return "refused";
  const std::size_t entries = list->files ? list->files->size() : 0;
  FilesPage page(list->files ? convertFiles(*list->files) : std::vector<File>(),
                 std::move(list->nextPageToken));
  require(page.files().size() <= entries, "no file is made up");
  requireCodable(page);
  return NlohmannJSON().encoded(page);
}

}  // namespace
}  // namespace corvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  static const SIMDJSONDriveParser parser;  // one for all, as in a program: its memory is used again
  const Data bare = dataFromText(fuzz::inputText(bytes, size));
  Data padded;
  padded.reserve(size + HTTPResponse::padding);
  padded.insert(padded.end(), bare.begin(), bare.end());

  fuzz::require(fuzz::listingOf(parser, bare) == fuzz::listingOf(parser, padded), "padding changes nothing");
  const auto about = parser.about(padded);
  const auto file = parser.file(padded);
  const auto error = parser.error(padded);
  fuzz::require(about.has_value() == file.has_value(), "all readers take the same documents");
  fuzz::require(about || !error, "an error comes out of a document only");
  if (about)
    if (const auto record = convertAbout(*about)) fuzz::requireCodable(*record);
  if (error) fuzz::readError(*error);
  return 0;
}
