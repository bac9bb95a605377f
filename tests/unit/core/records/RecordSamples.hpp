#pragma once

#include <Corvane/About.hpp>
#include <Corvane/FilesPage.hpp>

#include <string>
#include <vector>

#include "support/Instant.hpp"
#include "support/PlainCoder.hpp"

// One full record of each kind, and the same as a coder sees it.
namespace corvane::test {

inline StorageQuota sampleQuota() {
  return StorageQuota(9'000'000'000'000, 3, 2);
}
inline User sampleUser() {
  return User("Ada", "ada@example.com", "https://photo.example/ada");
}
inline About sampleAbout() {
  return About(sampleQuota(), true, 5'242'880'000, sampleUser());
}
inline File sampleFile() {
  return File("id-1", "text/plain", "notes.txt", "42", true, false, instant(1), instant(2),
              std::vector<std::string>{"p1", "p2"}, "https://icon.example", "https://view.example");
}
inline File sampleFolder() {
  return File("id-2", "application/vnd.google-apps.folder", "folder", std::nullopt, false, false, instant(),
              instant(), std::nullopt, std::nullopt, std::nullopt);
}

inline PlainValue plainQuota() {
  return {PlainValue::Object{{"limit", {std::int64_t{9'000'000'000'000}}},
                             {"usage", {std::int64_t{3}}},
                             {"usageInDrive", {std::int64_t{2}}}}};
}
inline PlainValue plainUser() {
  return {PlainValue::Object{{"displayName", {std::string("Ada")}},
                             {"emailAddress", {std::string("ada@example.com")}},
                             {"photoLink", {std::string("https://photo.example/ada")}}}};
}
inline PlainValue plainAbout() {
  return {PlainValue::Object{{"storageQuota", plainQuota()},
                             {"appInstalled", {true}},
                             {"maxUploadSize", {std::int64_t{5'242'880'000}}},
                             {"user", plainUser()}}};
}
inline PlainValue plainFile() {
  return {PlainValue::Object{{"id", {std::string("id-1")}},
                             {"mimeType", {std::string("text/plain")}},
                             {"name", {std::string("notes.txt")}},
                             {"size", {std::string("42")}},
                             {"shared", {true}},
                             {"trashed", {false}},
                             {"createdTime", {instant(1)}},
                             {"modifiedTime", {instant(2)}},
                             {"parents", {PlainValue::List{{std::string("p1")}, {std::string("p2")}}}},
                             {"iconLink", {std::string("https://icon.example")}},
                             {"webViewLink", {std::string("https://view.example")}}}};
}

/// The object without a key, or with another value under it, or with one key more.
inline PlainValue without(PlainValue value, std::string_view key) {
  std::erase_if(std::get<PlainValue::Object>(value.content),
                [key](const auto& member) { return member.first == key; });
  return value;
}
inline PlainValue with(PlainValue value, std::string_view key, PlainValue member) {
  auto& object = std::get<PlainValue::Object>(value.content);
  for (auto& [name, content] : object)
    if (name == key) {
      content = std::move(member);
      return value;
    }
  object.emplace_back(std::string(key), std::move(member));
  return value;
}

}  // namespace corvane::test
