#include "drive/FileRenderer.hpp"

#include "text/Digest.hpp"

namespace corvane::emulator {
namespace {

constexpr std::string_view userFields = "(kind,displayName,photoLink,me,permissionId,emailAddress)";

std::string fileFields() {
  const std::string user(userFields);
  return "kind,id,name,mimeType,description,starred,trashed,explicitlyTrashed,trashedTime,"
         "trashingUser" +
         user +
         ",parents,properties,appProperties,spaces,version,webContentLink,"
         "webViewLink,iconLink,hasThumbnail,thumbnailLink,thumbnailVersion,viewedByMe,viewedByMeTime,"
         "createdTime,modifiedTime,modifiedByMe,modifiedByMeTime,sharedWithMeTime,sharingUser" +
         user + ",owners" + user + ",driveId,teamDriveId,lastModifyingUser" + user +
         ",shared,ownedByMe,capabilities(canTrash,canDelete,canUntrash,canEdit,canRename,canDownload,"
         "canCopy,canShare),viewersCanCopyContent,copyRequiresWriterPermission,writersCanShare,"
         "permissions,permissionIds,hasAugmentedPermissions,folderColorRgb,originalFilename,"
         "fullFileExtension,fileExtension,md5Checksum,sha1Checksum,sha256Checksum,size,quotaBytesUsed,"
         "headRevisionId,contentHints,imageMediaMetadata,videoMediaMetadata,isAppAuthorized,exportLinks,"
         "shortcutDetails(targetId,targetMimeType,targetResourceKey),contentRestrictions,labelInfo,"
         "resourceKey,linkShareMetadata";
}

FieldMask schema(std::string_view text) {
  return FieldMask::parse(text).value();
}

std::string decimal(std::uint64_t value, std::size_t width) {
  std::string text = std::to_string(value);
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  return text.substr(0, width);
}

std::string hex(std::uint64_t value) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (unsigned shift = 64; shift > 0;) text += digits[(value >> (shift -= 4)) & 15U];
  return text;
}

std::string nameFrom(std::string_view email) {
  std::string name(email.substr(0, email.find('@')));
  if (!name.empty() && name[0] >= 'a' && name[0] <= 'z') name[0] = static_cast<char>(name[0] - 'a' + 'A');
  return name;
}

const User& sharingUser() {
  static const User user("grace.sharer@example.com", "Grace Sharer");
  return user;
}

std::string viewLink(const FileFacts& file) {
  if (&file.type == &FileSet::folderType()) return "https://drive.google.com/drive/folders/" + file.id;
  return "https://drive.google.com/file/d/" + file.id + "/view?usp=drivesdk";
}

void writeCapabilities(JSONWriter& writer, const FileFacts& file) {
  if (!writer.beginObject("capabilities")) return;
  const bool folder = &file.type == &FileSet::folderType();
  writer.boolean("canCopy", !folder);
  writer.boolean("canDelete", file.ownedByMe);
  writer.boolean("canDownload", !file.type.native);
  writer.boolean("canEdit", file.ownedByMe);
  writer.boolean("canRename", file.ownedByMe);
  writer.boolean("canShare", file.ownedByMe);
  writer.boolean("canTrash", file.ownedByMe);
  writer.boolean("canUntrash", file.ownedByMe);
  writer.endObject();
}

void writeContent(JSONWriter& writer, const FileFacts& file) {
  if (file.size) writer.int64("size", *file.size);
  if (file.type.native) return;
  writer.string("originalFilename", file.name);
  writer.string("fileExtension", file.type.extension);
  writer.string("fullFileExtension", file.type.extension);
  if (writer.wants("md5Checksum")) {
    writer.string("md5Checksum", hex(mix(file.hash, 20)) + hex(mix(file.hash, 21)));
  }
  if (writer.wants("headRevisionId")) writer.string("headRevisionId", "0B" + hex(mix(file.hash, 22)));
  if (writer.wants("webContentLink")) {
    writer.string("webContentLink", "https://drive.google.com/uc?id=" + file.id + "&export=download");
  }
}

void writePeople(JSONWriter& writer, const FileFacts& file, const User& me) {
  const User& owner = file.ownedByMe ? me : sharingUser();
  if (writer.beginArray("owners")) {
    writer.beginObject();
    writeUser(writer, owner, file.ownedByMe);
    writer.endObject();
    writer.endArray();
  }
  if (writer.beginObject("lastModifyingUser")) {
    writeUser(writer, owner, file.ownedByMe);
    writer.endObject();
  }
  if (!file.ownedByMe && writer.beginObject("sharingUser")) {
    writeUser(writer, owner, false);
    writer.endObject();
  }
}

}  // namespace

User::User(const Account& account)
    : User(account.email, account.displayName.empty() ? nameFrom(account.email) : account.displayName) {}

User::User(std::string address, std::string name)
    : email(std::move(address)),
      displayName(std::move(name)),
      permissionID(decimal(mix(11, email), 20)),
      subject("1" + decimal(mix(12, email), 20)) {}

const FieldMask& fileSchema() {
  static const FieldMask mask = schema(fileFields());
  return mask;
}

const FieldMask& listSchema() {
  static const FieldMask mask = schema("kind,nextPageToken,incompleteSearch,files(" + fileFields() + ")");
  return mask;
}

const FieldMask& aboutSchema() {
  static const FieldMask mask =
      schema("kind,user" + std::string(userFields) +
             ",storageQuota(limit,usage,usageInDrive,usageInDriveTrash),maxUploadSize,importFormats,"
             "exportFormats,maxImportSizes,appInstalled,folderColorPalette,driveThemes,teamDriveThemes,"
             "canCreateDrives,canCreateTeamDrives");
  return mask;
}

void writeUser(JSONWriter& writer, const User& user, bool me) {
  writer.string("kind", "drive#user");
  writer.string("displayName", user.displayName);
  if (writer.wants("photoLink")) {
    writer.string("photoLink", "https://lh3.googleusercontent.com/a/" + user.permissionID + "=s64");
  }
  writer.boolean("me", me);
  writer.string("permissionId", user.permissionID);
  writer.string("emailAddress", user.email);
}

void writeFile(JSONWriter& writer, const FileFacts& file, const FileSet& set, const User& me) {
  writer.string("kind", "drive#file");
  writer.string("id", file.id);
  writer.string("name", file.name);
  writer.string("mimeType", file.type.name);
  writer.boolean("starred", file.starred);
  writer.boolean("trashed", file.trashed);
  writer.boolean("explicitlyTrashed", file.explicitlyTrashed);
  if (file.ownedByMe && writer.beginArray("parents")) {
    writer.element(file.parent ? set.id(*file.parent) : set.rootID());
    writer.endArray();
  }
  if (writer.beginArray("spaces")) {
    writer.element("drive");
    writer.endArray();
  }
  if (writer.wants("version")) {
    writer.int64("version", static_cast<std::int64_t>(mix(file.hash, 23) % 100'000));
  }
  if (writer.wants("webViewLink")) writer.string("webViewLink", viewLink(file));
  if (writer.wants("iconLink")) {
    writer.string("iconLink",
                  "https://drive-thirdparty.googleusercontent.com/16/type/" + std::string(file.type.name));
  }
  writer.boolean("hasThumbnail", false);
  writer.boolean("viewedByMe", true);
  if (file.createdTime && writer.wants("createdTime")) {
    writer.string("createdTime", rfc3339(*file.createdTime));
  }
  if (writer.wants("modifiedTime")) writer.string("modifiedTime", rfc3339(file.modifiedTime));
  writePeople(writer, file, me);
  writer.boolean("shared", file.shared);
  writer.boolean("ownedByMe", file.ownedByMe);
  writeCapabilities(writer, file);
  writer.boolean("viewersCanCopyContent", true);
  writer.boolean("copyRequiresWriterPermission", false);
  writer.boolean("writersCanShare", file.ownedByMe);
  writeContent(writer, file);
  writer.int64("quotaBytesUsed", file.size.value_or(0));
  writer.boolean("isAppAuthorized", true);
}

}  // namespace corvane::emulator
