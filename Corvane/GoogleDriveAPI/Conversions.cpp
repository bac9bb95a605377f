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

std::optional<std::string> copied(const std::optional<std::string_view>& text) {
  return text ? std::optional<std::string>(std::in_place, *text) : std::nullopt;
}

std::optional<std::vector<std::string>> copied(
    const std::optional<std::span<const std::string_view>>& texts) {
  if (!texts) return std::nullopt;
  return std::optional<std::vector<std::string>>(std::in_place, texts->begin(), texts->end());
}

void addConverted(std::vector<File>& files, const GTLRDrive_FileView& complete) {
  files.emplace_back(std::string(*complete.identifier), std::string(*complete.mimeType),
                     std::string(*complete.name), copied(complete.size),
                     complete.shared.value_or(false), complete.trashed.value_or(false),
                     *complete.createdTime, *complete.modifiedTime, copied(complete.parents),
                     copied(complete.iconLink), copied(complete.webViewLink));
}

}  // namespace

std::optional<About> convertAbout(GTLRDrive_About object) {
  auto user = convertUser(std::move(object.user));
  const auto quota = convertQuota(object.storageQuota);
  if (!user || !quota || !object.appInstalled || !object.maxUploadSize) return std::nullopt;
  return About(*quota, *object.appInstalled, *object.maxUploadSize, *std::move(user));
}

std::vector<File> convertFiles(const GTLRDrive_Files& objects) {
  std::vector<File> files;
  files.reserve(objects.size());
  objects.forEach([&files](const GTLRDrive_FileView& object) {
    if (isComplete(object)) addConverted(files, object);
  });
  return files;
}

}  // namespace corvane
