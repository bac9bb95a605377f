#include "drive/FileSet.hpp"

#include "drive/FileNames.hpp"
#include "text/Digest.hpp"

namespace corvane::emulator {
namespace {

// Of 16 files in a row one is another user's and one is in the trash.
constexpr std::uint64_t decoyPeriod = 16;
constexpr std::uint64_t sharedDecoy = 7;
constexpr std::uint64_t trashedDecoy = 11;
// Every 40th file is a folder; 40 k + 5 never falls on a decoy.
constexpr std::uint64_t folderPeriod = 40;
constexpr std::uint64_t folderOffset = 5;

constexpr MimeType folder{"application/vnd.google-apps.folder", "", true, false};
constexpr std::array<MimeType, 11> types = {{
    {"application/pdf", "pdf", false, true},
    {"image/jpeg", "jpg", false, true},
    {"image/png", "png", false, true},
    {"text/plain", "txt", false, true},
    {"application/vnd.google-apps.document", "", true, true},
    {"application/vnd.google-apps.spreadsheet", "", true, true},
    {"application/vnd.google-apps.shortcut", "", true, false},
    {"video/mp4", "mp4", false, true},
    {"application/zip", "zip", false, true},
    {"application/vnd.openxmlformats-officedocument.wordprocessingml.document", "docx", false, true},
    {"application/octet-stream", "bin", false, true},
}};

/// The smallest set that has `wanted` files which are no decoys.
std::uint64_t sizeWithDecoys(std::uint64_t wanted) {
  constexpr std::uint64_t proper = decoyPeriod - 2;
  std::uint64_t total = wanted / proper * decoyPeriod;
  for (auto left = wanted % proper; left > 0; ++total) {
    const auto place = total % decoyPeriod;
    if (place != sharedDecoy && place != trashedDecoy) --left;
  }
  return total;
}

void append(std::string& bytes, std::uint64_t value) {
  for (unsigned shift = 0; shift < 64; shift += 8) bytes += static_cast<char>((value >> shift) & 255U);
}

std::uint64_t integerAt(std::string_view bytes, std::size_t offset) {
  std::uint64_t value = 0;
  for (std::size_t i = 8; i-- > 0;) value = (value << 8U) | static_cast<unsigned char>(bytes[offset + i]);
  return value;
}

}  // namespace

FileSet::FileSet(const Account& account, std::uint64_t seed, std::uint64_t missingCreatedTimeEvery)
    : key_(mix(seed, account.email)),
      total_(account.decoys ? sizeWithDecoys(account.files) : account.files),
      missingCreatedTimeEvery_(missingCreatedTimeEvery),
      decoys_(account.decoys) {}

const MimeType& FileSet::folderType() {
  return folder;
}

std::uint64_t FileSet::hash(std::uint64_t index) const {
  return mix(key_, index);
}

// A mark of the file, the index hidden under the mark, and a check.
std::string FileSet::id(std::uint64_t index) const {
  const auto mark = mix(hash(index), 1);
  std::string raw;
  append(raw, mark);
  append(raw, index ^ mix(key_, mark));
  append(raw, mix(hash(index), 2));
  return "1" + base64URL(raw);
}

std::string FileSet::rootID() const {
  std::string raw;
  append(raw, mix(key_, "root"));
  append(raw, mix(key_, "root folder"));
  return ("0A" + base64URL(raw)).substr(0, 19);
}

std::optional<std::uint64_t> FileSet::find(std::string_view text) const {
  if (text.size() != 33 || text.front() != '1') return std::nullopt;
  const auto raw = fromBase64URL(text.substr(1));
  if (!raw || raw->size() != 24) return std::nullopt;
  const auto index = integerAt(*raw, 8) ^ mix(key_, integerAt(*raw, 0));
  if (index >= total_ || id(index) != text || isRemoved(index)) return std::nullopt;
  return index;
}

bool FileSet::isFolder(std::uint64_t index) const {
  return index % folderPeriod == folderOffset;
}

bool FileSet::isOwned(std::uint64_t index) const {
  return !decoys_ || index % decoyPeriod != sharedDecoy;
}

const MimeType& FileSet::type(std::uint64_t index) const {
  return isFolder(index) ? folder : types[mix(hash(index), 3) % types.size()];
}

std::optional<std::int64_t> FileSet::bytes(std::uint64_t index) const {
  if (!type(index).hasSize) return std::nullopt;
  // Sizes spread evenly over the orders of magnitude up to 16 MiB; the odd file is empty.
  const auto value = mix(hash(index), 4);
  return static_cast<std::int64_t>(value >> (40 + value % 24)) % (16 << 20);
}

std::optional<std::uint64_t> FileSet::parent(std::uint64_t index) const {
  if (!isOwned(index)) return std::nullopt;
  const auto value = mix(hash(index), 5);
  const auto folders = (index + folderPeriod - folderOffset - 1) / folderPeriod;
  if (value % 5 < 2 || folders == 0) return std::nullopt;
  return (value / 5) % folders * folderPeriod + folderOffset;
}

bool FileSet::isExplicitlyTrashed(std::uint64_t index) const {
  const auto changed = trashed_.find(index);
  if (changed != trashed_.end()) return changed->second;
  return decoys_ && index % decoyPeriod == trashedDecoy;
}

// Folders are no decoys, so nothing is in the trash by its parent before a client trashes a folder.
bool FileSet::isTrashed(std::uint64_t index) const {
  if (isExplicitlyTrashed(index)) return true;
  if (trashed_.empty()) return false;
  const auto above = parent(index);
  return above && isTrashed(*above);
}

bool FileSet::isRemoved(std::uint64_t index) const {
  if (removed_.empty()) return false;
  if (removed_.contains(index)) return true;
  const auto above = parent(index);
  return above && isRemoved(*above);
}

bool FileSet::matches(std::uint64_t index, const FileQuery& query) const {
  return (!query.ownedByMe || isOwned(index)) && (!query.trashed || *query.trashed == isTrashed(index)) &&
         !isRemoved(index);
}

FileFacts FileSet::facts(std::uint64_t index) const {
  const auto value = hash(index);
  const auto& mime = type(index);
  const auto millisecondsOf = [](std::uint64_t count) {
    return std::chrono::milliseconds(static_cast<std::int64_t>(count));
  };
  constexpr std::uint64_t year = 31'556'952'000;
  const Instant first{std::chrono::sys_days{std::chrono::year{2009} / 1 / 1}};
  const Instant created = first + millisecondsOf(mix(value, 6) % (15 * year));
  const bool hasCreated =
      missingCreatedTimeEvery_ == 0 || index % missingCreatedTimeEvery_ != missingCreatedTimeEvery_ - 1;
  return {.index = index,
          .hash = value,
          .type = mime,
          .id = id(index),
          .name = fileName(index, value, mime.extension),
          .size = bytes(index),
          .createdTime = hasCreated ? std::optional(created) : std::nullopt,
          .modifiedTime = created + millisecondsOf(mix(value, 7) % year),
          .ownedByMe = isOwned(index),
          .shared = !isOwned(index) || mix(value, 8) % 9 == 0,
          .starred = mix(value, 9) % 31 == 0,
          .trashed = isTrashed(index),
          .explicitlyTrashed = isExplicitlyTrashed(index),
          .parent = parent(index)};
}

std::uint64_t FileSet::count(const FileQuery& query) const {
  std::uint64_t found = 0;
  for (std::uint64_t index = 0; index < total_; ++index) found += matches(index, query) ? 1 : 0;
  return found;
}

std::int64_t FileSet::usage(bool trashedOnly) const {
  const FileQuery query{.ownedByMe = true, .trashed = trashedOnly ? std::optional(true) : std::nullopt};
  std::int64_t sum = 0;
  for (std::uint64_t index = 0; index < total_; ++index) {
    if (matches(index, query)) sum += bytes(index).value_or(0);
  }
  return sum;
}

}  // namespace corvane::emulator
