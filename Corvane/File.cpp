#include <Corvane/File.hpp>

#include "Records/RecordCoding.hpp"
#include "Records/RecordEquality.hpp"
#include "Records/RecordKeys.hpp"

namespace corvane {

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
