#pragma once

#include <Corvane/KeyedCoding.hpp>
#include <Corvane/RecordTable.hpp>

#include <string>

namespace corvane {

/// The account's profile. (Drive API v3, about.user.)
/// A plain value, comparable and codable under its fields' names.
struct User {
  explicit User(std::string displayName, std::string emailAddress, std::string photoLink);

  std::string displayName;
  std::string emailAddress;
  std::string photoLink;

  /// The partial-response field list that names exactly these fields.
  static const std::string& apiFields();
  /// Errors: the encoder's, unchanged.
  void encode(Encoder& encoder) const;
  /// Errors: the decoder's, unchanged; nothing partial is returned.
  static User decode(const Decoder& decoder);
  friend bool operator==(const User& left, const User& right);

 private:
  friend struct RecordTable;
  static constexpr auto table() {
    return std::tuple(recordField("displayName", &User::displayName),
                      recordField("emailAddress", &User::emailAddress),
                      recordField("photoLink", &User::photoLink));
  }
};

}  // namespace corvane
