#include "Conversions.hpp"

#include <string>
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

std::optional<std::string> decimalText(std::optional<std::int64_t> number) {
  if (!number) return std::nullopt;
  return std::to_string(*number);
}

bool isComplete(const GTLRDrive_File& object) {
  return object.identifier && object.mimeType && object.name && object.createdTime && object.modifiedTime;
}

/// Hands what a complete object holds to `make`, which can so make the record where it is to stay.
template <class Make>
auto makeFrom(GTLRDrive_File&& object, Make make) {
  return make(*std::move(object.identifier), *std::move(object.mimeType), *std::move(object.name),
              decimalText(object.size), object.shared.value_or(false), object.trashed.value_or(false),
              *object.createdTime, *object.modifiedTime, std::move(object.parents),
              std::move(object.iconLink), std::move(object.webViewLink));
}

}  // namespace

std::optional<About> convertAbout(GTLRDrive_About object) {
  auto user = convertUser(std::move(object.user));
  const auto quota = convertQuota(object.storageQuota);
  if (!user || !quota || !object.appInstalled || !object.maxUploadSize) return std::nullopt;
  return About(*quota, *object.appInstalled, *object.maxUploadSize, *std::move(user));
}

std::optional<File> convertFile(GTLRDrive_File object) {
  if (!isComplete(object)) return std::nullopt;
  return makeFrom(std::move(object), [](auto&&... parts) {
    return std::optional<File>(std::in_place, std::forward<decltype(parts)>(parts)...);
  });
}

std::vector<File> convertFiles(std::vector<GTLRDrive_File> objects) {
  std::vector<File> files;
  files.reserve(objects.size());
  const auto append = [&files](auto&&... parts) {
    files.emplace_back(std::forward<decltype(parts)>(parts)...);
  };
  for (auto& object : objects)
    if (isComplete(object)) makeFrom(std::move(object), append);
  return files;
}

}  // namespace corvane
