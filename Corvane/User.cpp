#include <Corvane/User.hpp>

#include "Records/RecordCoding.hpp"
#include "Records/RecordEquality.hpp"
#include "Records/RecordKeys.hpp"

#include <utility>

namespace corvane {

User::User(std::string newDisplayName, std::string newEmailAddress, std::string newPhotoLink)
    : displayName(std::move(newDisplayName)),
      emailAddress(std::move(newEmailAddress)),
      photoLink(std::move(newPhotoLink)) {}

const std::string& User::apiFields() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& fields = *new const std::string(makeAPIFields<User>());
  return fields;
}

void User::encode(Encoder& encoder) const {
  coding::encodeRecord(*this, encoder);
}

User User::decode(const Decoder& decoder) {
  return coding::decodeRecord<User>(decoder);
}

bool operator==(const User& left, const User& right) {
  return equality::equalRecords(left, right);
}

}  // namespace corvane
