#pragma once

#include <Corvane/KeyedCoding.hpp>
#include <Corvane/RecordTable.hpp>
#include <Corvane/StorageQuota.hpp>
#include <Corvane/User.hpp>

#include <cstdint>
#include <string>

namespace corvane {

/// What Drive says about an account. (Drive API v3, about.)
/// A plain value, comparable and codable under its fields' names.
struct About {
  explicit About(StorageQuota storageQuota, bool appInstalled, std::int64_t maxUploadSize, User user);

  StorageQuota storageQuota;
  bool appInstalled;
  std::int64_t maxUploadSize;  // bytes
  User user;

  /// The partial-response field list that names exactly these fields, and theirs.
  static const std::string& apiFields();
  /// Errors: the encoder's, unchanged.
  void encode(Encoder& encoder) const;
  /// Errors: the decoder's, unchanged; nothing partial is returned.
  static About decode(const Decoder& decoder);
  friend bool operator==(const About& left, const About& right);

 private:
  friend struct RecordTable;
  static constexpr auto table() {
    return std::tuple(recordField("storageQuota", &About::storageQuota),
                      recordField("appInstalled", &About::appInstalled),
                      recordField("maxUploadSize", &About::maxUploadSize), recordField("user", &About::user));
  }
};

}  // namespace corvane
