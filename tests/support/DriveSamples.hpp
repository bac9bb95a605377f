#pragma once

#include <CorvanePlatform/DriveService.hpp>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/DriveFiles.hpp"
#include "support/Instant.hpp"

// What a well-meaning Drive answers, and what a troubled one does.
namespace corvane::test {

inline GTLRDrive_About aboutObject() {
  GTLRDrive_About about;
  about.user = {"Ada", "ada@example.com", "https://photo.example/ada"};
  about.storageQuota = {100, 30, 20};
  about.appInstalled = true;
  about.maxUploadSize = 5'242'880'000;
  return about;
}

inline GTLRDrive_File fileObject(std::string id) {
  GTLRDrive_File file;
  file.identifier = std::move(id);
  file.mimeType = "text/plain";
  file.name = "notes.txt";
  file.createdTime = instant(1);
  file.modifiedTime = instant(2);
  return file;
}

inline GTLRDrive_FileList fileList(std::vector<GTLRDrive_File> files,
                                   std::optional<std::string> nextPageToken = std::nullopt) {
  GTLRDrive_FileList list;
  list.files = std::make_shared<FilesInMemory>(std::move(files));
  list.nextPageToken = std::move(nextPageToken);
  return list;
}

inline NSError driveError(std::int64_t code, std::string description = "Drive said no.") {
  return NSError(GTLRErrorObjectDomain, code,
                 {{std::string(NSLocalizedDescriptionKey), std::move(description)}});
}

inline NSError networkError(std::int64_t code, std::string description = "The network is down.") {
  return NSError(NSURLErrorDomain, code, {{std::string(NSLocalizedDescriptionKey), std::move(description)}});
}

}  // namespace corvane::test
