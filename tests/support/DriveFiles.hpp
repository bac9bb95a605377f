#pragma once

#include <CorvanePlatform/DriveObjects.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Lists of files from objects, and back.
namespace corvane::test {

/// The files of a list that was never a document.
class FilesInMemory final : public GTLRDrive_Files {
 public:
  explicit FilesInMemory(std::vector<GTLRDrive_File> files) : files_(std::move(files)) {}

  std::size_t size() const override { return files_.size(); }
  void forEach(const Visitor& visit) const override {
    for (const auto& file : files_) visitOne(file, visit);
  }

 private:
  static void visitOne(const GTLRDrive_File& file, const Visitor& visit) {
    std::string size;
    std::vector<std::string_view> parents;
    if (file.parents) parents.assign(file.parents->begin(), file.parents->end());

    GTLRDrive_FileView view;
    view.identifier = file.identifier;
    view.mimeType = file.mimeType;
    view.name = file.name;
    if (file.size) view.size = size = std::to_string(*file.size);
    view.shared = file.shared;
    view.trashed = file.trashed;
    view.createdTime = file.createdTime;
    view.modifiedTime = file.modifiedTime;
    if (file.parents) view.parents = parents;
    view.iconLink = file.iconLink;
    view.webViewLink = file.webViewLink;
    visit(view);
  }

  std::vector<GTLRDrive_File> files_;
};

inline GTLRDrive_File objectOf(const GTLRDrive_FileView& view) {
  const auto text = [](const auto& from) { return std::optional<std::string>(from); };
  GTLRDrive_File file;
  file.identifier = text(view.identifier);
  file.mimeType = text(view.mimeType);
  file.name = text(view.name);
  if (view.size) file.size = std::stoll(std::string(*view.size));
  file.shared = view.shared;
  file.trashed = view.trashed;
  file.createdTime = view.createdTime;
  file.modifiedTime = view.modifiedTime;
  if (view.parents) file.parents.emplace(view.parents->begin(), view.parents->end());
  file.iconLink = text(view.iconLink);
  file.webViewLink = text(view.webViewLink);
  return file;
}

/// What a list holds; nothing also when it has no files.
inline std::vector<GTLRDrive_File> filesOf(const GTLRDrive_FileList& list) {
  std::vector<GTLRDrive_File> files;
  if (list.files)
    list.files->forEach([&files](const GTLRDrive_FileView& file) { files.push_back(objectOf(file)); });
  return files;
}

}  // namespace corvane::test
