#include <Corvane/StorageQuota.hpp>

#include "Records/RecordCoding.hpp"
#include "Records/RecordEquality.hpp"
#include "Records/RecordKeys.hpp"

#include <utility>

namespace corvane {

StorageQuota::StorageQuota(std::int64_t newLimit, std::int64_t newUsage, std::int64_t newUsageInDrive)
    : limit(newLimit), usage(newUsage), usageInDrive(newUsageInDrive) {}

const std::string& StorageQuota::apiFields() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& fields = *new const std::string(makeAPIFields<StorageQuota>());
  return fields;
}

void StorageQuota::encode(Encoder& encoder) const {
  coding::encodeRecord(*this, encoder);
}

StorageQuota StorageQuota::decode(const Decoder& decoder) {
  return coding::decodeRecord<StorageQuota>(decoder);
}

bool operator==(const StorageQuota& left, const StorageQuota& right) {
  return equality::equalRecords(left, right);
}

}  // namespace corvane
