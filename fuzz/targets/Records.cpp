#include "Input.hpp"
#include "nlohmann/NlohmannJSON.hpp"

#include <Corvane/About.hpp>
#include <Corvane/AnyError.hpp>
#include <Corvane/DecodingError.hpp>
#include <Corvane/File.hpp>
#include <Corvane/FilesPage.hpp>
#include <Corvane/StorageQuota.hpp>
#include <Corvane/User.hpp>

#include <string>

// Keyed decoding of every record, from documents that a host kept somewhere.

namespace corvane::fuzz {
namespace {

template <class Record>
void decode(const NlohmannJSON& json, const Data& document) {
  try {
    const auto record = json.decode<Record>(document);
    const std::string written = json.encoded(record);
    const auto again = json.decode<Record>(dataFromText(written));
    require(again == record, "a record survives coding");
    require(json.encoded(again) == written, "a record is written alike twice");
  } catch (const AnyError& error) {
    require(error.holds<DecodingError>(), "a refusal is a decoding error");
    require(!error.localizedDescription().empty(), "a refusal says why");
  }
}

}  // namespace
}  // namespace corvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace corvane;
  const NlohmannJSON json;
  const Data document = dataFromText(fuzz::inputText(bytes, size));
  fuzz::decode<About>(json, document);
  fuzz::decode<File>(json, document);
  fuzz::decode<FilesPage>(json, document);
  fuzz::decode<StorageQuota>(json, document);
  fuzz::decode<User>(json, document);
  return 0;
}
