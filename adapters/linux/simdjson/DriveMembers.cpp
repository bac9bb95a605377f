#include "DriveMembers.hpp"

#include "MemberKinds.hpp"
#include "MemberTable.hpp"

namespace corvane {
namespace {

using simdjson::dom::array;
using simdjson::dom::element;
using simdjson::dom::object;

// One entry of a member table: the member of Type whose name in JSON is `name`, read by `reader`.
#define CORVANE_MEMBER(Type, name, member, reader)                          \
  Member<Type> {                                                            \
    name, [](Type& target, element value) { reader(target.member, value); } \
  }

constexpr std::array userMembers{
    CORVANE_MEMBER(GTLRDrive_About_User, "displayName", displayName, readText),
    CORVANE_MEMBER(GTLRDrive_About_User, "photoLink", photoLink, readText),
    CORVANE_MEMBER(GTLRDrive_About_User, "emailAddress", emailAddress, readText),
};

constexpr std::array storageQuotaMembers{
    CORVANE_MEMBER(GTLRDrive_About_StorageQuota, "limit", limit, readInteger),
    CORVANE_MEMBER(GTLRDrive_About_StorageQuota, "usage", usage, readInteger),
    CORVANE_MEMBER(GTLRDrive_About_StorageQuota, "usageInDrive", usageInDrive, readInteger),
};

constexpr std::array errorItemMembers{
    CORVANE_MEMBER(DriveErrorObject::Item, "domain", domain, readText),
    CORVANE_MEMBER(DriveErrorObject::Item, "reason", reason, readText),
    CORVANE_MEMBER(DriveErrorObject::Item, "message", message, readText),
    CORVANE_MEMBER(DriveErrorObject::Item, "locationType", locationType, readText),
    CORVANE_MEMBER(DriveErrorObject::Item, "location", location, readText),
    CORVANE_MEMBER(DriveErrorObject::Item, "extendedHelp", extendedHelp, readText),
};

/// Of google.rpc.ErrorInfo's free-form `metadata` one entry is of use.
void readActivationURL(std::string& target, element metadata) {
  element value;
  if (!metadata.at_key("activationUrl").get(value)) readText(target, value);
}

constexpr std::array errorDetailMembers{
    CORVANE_MEMBER(DriveErrorObject::Detail, "reason", reason, readText),
    CORVANE_MEMBER(DriveErrorObject::Detail, "domain", domain, readText),
    CORVANE_MEMBER(DriveErrorObject::Detail, "metadata", activationURL, readActivationURL),
};

template <class Object, std::size_t count>
void readObject(std::optional<Object>& target, element value,
                const std::array<Member<Object>, count>& table) {
  object source;
  if (!value.get(source)) readMembers(target.emplace(), source, table);
}

// Google sends one entry, rarely a few; a hostile list must not fill the memory.
constexpr std::size_t maximumErrorEntries = 1'000;

/// The objects of a list; entries of other kinds have nothing to tell and are left out.
template <class Object, std::size_t count>
void readObjects(std::vector<Object>& target, element value, const std::array<Member<Object>, count>& table) {
  array entries;
  if (value.get(entries)) return;
  for (const auto entry : entries) {
    if (target.size() == maximumErrorEntries) return;
    object source;
    if (!entry.get(source)) readMembers(target.emplace_back(), source, table);
  }
}

void readUser(std::optional<GTLRDrive_About_User>& target, element value) {
  readObject(target, value, userMembers);
}

void readStorageQuota(std::optional<GTLRDrive_About_StorageQuota>& target, element value) {
  readObject(target, value, storageQuotaMembers);
}

void readErrorItems(std::vector<DriveErrorObject::Item>& target, element value) {
  readObjects(target, value, errorItemMembers);
}

void readErrorDetails(std::vector<DriveErrorObject::Detail>& target, element value) {
  readObjects(target, value, errorDetailMembers);
}

constexpr std::array aboutMembers{
    CORVANE_MEMBER(GTLRDrive_About, "user", user, readUser),
    CORVANE_MEMBER(GTLRDrive_About, "storageQuota", storageQuota, readStorageQuota),
    CORVANE_MEMBER(GTLRDrive_About, "maxUploadSize", maxUploadSize, readInteger),
    CORVANE_MEMBER(GTLRDrive_About, "appInstalled", appInstalled, readFlag),
};

constexpr std::array errorMembers{
    CORVANE_MEMBER(DriveErrorObject, "code", code, readInteger),
    CORVANE_MEMBER(DriveErrorObject, "message", message, readText),
    CORVANE_MEMBER(DriveErrorObject, "errors", errors, readErrorItems),
    CORVANE_MEMBER(DriveErrorObject, "status", status, readText),
    CORVANE_MEMBER(DriveErrorObject, "details", details, readErrorDetails),
};

#undef CORVANE_MEMBER

constexpr std::array fileListMembers{
    Member<FileListMembers>{"nextPageToken", [](FileListMembers& target,
                                                element value) { readText(target.nextPageToken, value); }},
    Member<FileListMembers>{"files",
                            [](FileListMembers& target, element value) {
                              array files;
                              if (!value.get(files)) target.files = files;
                            }},
};

}  // namespace

void readAbout(GTLRDrive_About& about, const object& source) {
  readMembers(about, source, aboutMembers);
}

FileListMembers readFileList(const object& source) {
  FileListMembers members;
  readMembers(members, source, fileListMembers);
  return members;
}

void readError(DriveErrorObject& error, const object& source) {
  readMembers(error, source, errorMembers);
}

}  // namespace corvane
