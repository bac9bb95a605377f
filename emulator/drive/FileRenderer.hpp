#pragma once

#include <CorvaneEmulator/Options.hpp>
#include <string>

#include "drive/FileSet.hpp"
#include "text/JSONWriter.hpp"

namespace corvane::emulator {

/// An account with all that follows from its address.
struct User {
  explicit User(const Account& account);
  User(std::string address, std::string name);

  std::string email;
  std::string displayName;
  std::string permissionID;
  std::string subject;  ///< `sub` of the id_token
};

/// Writes a user object's members.
void writeUser(JSONWriter& writer, const User& user, bool me);
/// Writes a file's members.
void writeFile(JSONWriter& writer, const FileFacts& file, const FileSet& set, const User& me);

/// The fields that exist.
const FieldMask& fileSchema();
const FieldMask& listSchema();
const FieldMask& aboutSchema();

}  // namespace corvane::emulator
