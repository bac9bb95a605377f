#include <Corvane/File.hpp>

#include "Records/RecordCoding.hpp"
#include "Records/RecordEquality.hpp"
#include "Records/RecordKeys.hpp"

#include <utility>

namespace corvane {

File::File(std::string newId, std::string newMimeType, std::string newName,
           std::optional<std::string> newSize, bool newShared, bool newTrashed, Date newCreatedTime,
           Date newModifiedTime, std::optional<std::vector<std::string>> newParents,
           std::optional<std::string> newIconLink, std::optional<std::string> newWebViewLink)
    : id(std::move(newId)),
      mimeType(std::move(newMimeType)),
      name(std::move(newName)),
      size(std::move(newSize)),
      shared(newShared),
      trashed(newTrashed),
      createdTime(newCreatedTime),
      modifiedTime(newModifiedTime),
      parents(std::move(newParents)),
      iconLink(std::move(newIconLink)),
      webViewLink(std::move(newWebViewLink)) {}

const std::string& File::apiFields() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& fields = *new const std::string(makeAPIFields<File>());
  return fields;
}

void File::encode(Encoder& encoder) const {
  coding::encodeRecord(*this, encoder);
}

File File::decode(const Decoder& decoder) {
  return coding::decodeRecord<File>(decoder);
}

bool operator==(const File& left, const File& right) {
  return equality::equalRecords(left, right);
}

}  // namespace corvane
