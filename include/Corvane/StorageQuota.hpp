#pragma once

#include <Corvane/KeyedCoding.hpp>
#include <Corvane/RecordTable.hpp>

#include <cstdint>
#include <string>

namespace corvane {

/// How much of the account's storage is there and used, in bytes. (Drive API v3, about.storageQuota.)
/// A plain value, comparable and codable under its fields' names.
struct StorageQuota {
  explicit StorageQuota(std::int64_t limit, std::int64_t usage, std::int64_t usageInDrive);

  std::int64_t limit;
  std::int64_t usage;
  std::int64_t usageInDrive;

  /// The partial-response field list that names exactly these fields.
  static const std::string& apiFields();
  /// Errors: the encoder's, unchanged.
  void encode(Encoder& encoder) const;
  /// Errors: the decoder's, unchanged; nothing partial is returned.
  static StorageQuota decode(const Decoder& decoder);
  friend bool operator==(const StorageQuota& left, const StorageQuota& right);

 private:
  friend struct RecordTable;
  static constexpr auto table() {
    return std::tuple(recordField("limit", &StorageQuota::limit), recordField("usage", &StorageQuota::usage),
                      recordField("usageInDrive", &StorageQuota::usageInDrive));
  }
};

}  // namespace corvane
