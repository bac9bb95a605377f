#include <Corvane/About.hpp>

#include "Records/RecordCoding.hpp"
#include "Records/RecordEquality.hpp"
#include "Records/RecordKeys.hpp"

#include <utility>

namespace corvane {

About::About(StorageQuota newStorageQuota, bool newAppInstalled, std::int64_t newMaxUploadSize, User newUser)
    : storageQuota(newStorageQuota),
      appInstalled(newAppInstalled),
      maxUploadSize(newMaxUploadSize),
      user(std::move(newUser)) {}

const std::string& About::apiFields() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& fields = *new const std::string(makeAPIFields<About>());
  return fields;
}

void About::encode(Encoder& encoder) const {
  coding::encodeRecord(*this, encoder);
}

About About::decode(const Decoder& decoder) {
  return coding::decodeRecord<About>(decoder);
}

bool operator==(const About& left, const About& right) {
  return equality::equalRecords(left, right);
}

}  // namespace corvane
