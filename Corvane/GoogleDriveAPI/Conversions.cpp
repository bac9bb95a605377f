#include "Conversions.hpp"

#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

namespace {

std::optional<User> convertUser(std::optional<GTLRDrive_About_User> object) {
  if (!object || !object->displayName || !object->emailAddress || !object->photoLink) return std::nullopt;
  return User(*std::move(object->displayName), *std::move(object->emailAddress),
              *std::move(object->photoLink));
}

std::optional<StorageQuota> convertQuota(const std::optional<GTLRDrive_About_StorageQuota>& object) {
  if (!object || !object->limit || !object->usage || !object->usageInDrive) return std::nullopt;
  return StorageQuota(*object->limit, *object->usage, *object->usageInDrive);
}

bool isComplete(const GTLRDrive_FileView& object) {
  return object.identifier && object.mimeType && object.name && object.createdTime && object.modifiedTime;
}

std::optional<std::vector<std::string>> copied(
    const std::optional<std::span<const std::string_view>>& texts) {
  if (!texts) return std::nullopt;
  return std::optional<std::vector<std::string>>(std::in_place, texts->begin(), texts->end());
}

}  // namespace

std::optional<About> convertAbout(GTLRDrive_About object) {
  auto user = convertUser(std::move(object.user));
  const auto quota = convertQuota(object.storageQuota);
  if (!user || !quota || !object.appInstalled || !object.maxUploadSize) return std::nullopt;
  return About(*quota, *object.appInstalled, *object.maxUploadSize, *std::move(user));
}

// Of a complete object.
File::File(ConversionKey, const GTLRDrive_FileView& object)
    : id(*object.identifier),
      mimeType(*object.mimeType),
      name(*object.name),
      size(object.size),
      shared(object.shared.value_or(false)),
      trashed(object.trashed.value_or(false)),
      createdTime(*object.createdTime),
      modifiedTime(*object.modifiedTime),
      parents(copied(object.parents)),
      iconLink(object.iconLink),
      webViewLink(object.webViewLink) {}

std::vector<File> convertFiles(const GTLRDrive_Files& objects) {
  std::vector<File> files;
  files.reserve(objects.size());
  objects.forEach([&files](const GTLRDrive_FileView& object) {
    if (isComplete(object)) files.emplace_back(File::ConversionKey(), object);
  });
  return files;
}

}  // namespace corvane
