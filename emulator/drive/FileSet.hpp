#pragma once

#include <CorvaneEmulator/Options.hpp>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "drive/FileQuery.hpp"
#include "text/Times.hpp"

namespace corvane::emulator {

struct MimeType {
  std::string_view name;
  std::string_view extension;
  bool native;   ///< of Google's own kinds: it has no content to download
  bool hasSize;  ///< false for folders and shortcuts (Drive API v3, File.size)
};

/// Everything about one file that does not follow from its account.
struct FileFacts {
  std::uint64_t index;
  std::uint64_t hash;
  const MimeType& type;
  std::string id;
  std::string name;
  std::optional<std::int64_t> size;
  std::optional<Instant> createdTime;
  Instant modifiedTime;
  bool ownedByMe;
  bool shared;
  bool starred;
  bool trashed;
  bool explicitlyTrashed;
  std::optional<std::uint64_t> parent;  ///< a folder's index; the root when absent
};

/// An account's files.
///
/// A million files are wanted at no cost, so none is stored: file n follows from seed, account and n, its
/// id can be read back to n, and only what a client trashed or deleted is remembered. The price is that
/// every answer computes its files anew; rendered pages are cached above for that.
class FileSet {
 public:
  FileSet(const Account& account, std::uint64_t seed, std::uint64_t missingCreatedTimeEvery);

  std::uint64_t size() const { return total_; }
  std::string id(std::uint64_t index) const;
  std::string rootID() const;
  /// Nothing for an id that is unknown or whose file has been deleted.
  std::optional<std::uint64_t> find(std::string_view id) const;
  bool matches(std::uint64_t index, const FileQuery& query) const;
  FileFacts facts(std::uint64_t index) const;
  std::uint64_t count(const FileQuery& query) const;
  /// Bytes of the user's own files; with `trashedOnly` of those in the trash.
  std::int64_t usage(bool trashedOnly) const;

  void setTrashed(std::uint64_t index, bool trashed) { trashed_[index] = trashed; }
  /// With all descendants, if it is a folder.
  void remove(std::uint64_t index) { removed_.insert(index); }

  bool isOwned(std::uint64_t index) const;
  static const MimeType& folderType();

 private:
  bool isFolder(std::uint64_t index) const;
  std::uint64_t hash(std::uint64_t index) const;
  const MimeType& type(std::uint64_t index) const;
  std::optional<std::int64_t> bytes(std::uint64_t index) const;
  std::optional<std::uint64_t> parent(std::uint64_t index) const;
  bool isExplicitlyTrashed(std::uint64_t index) const;
  bool isTrashed(std::uint64_t index) const;
  bool isRemoved(std::uint64_t index) const;

  std::uint64_t key_;
  std::uint64_t total_;
  std::uint64_t missingCreatedTimeEvery_;
  bool decoys_;
  std::unordered_map<std::uint64_t, bool> trashed_;
  std::unordered_set<std::uint64_t> removed_;
};

}  // namespace corvane::emulator
