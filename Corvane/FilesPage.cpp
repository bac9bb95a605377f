#include <Corvane/FilesPage.hpp>

#include "Records/RecordCoding.hpp"
#include "Records/RecordEquality.hpp"

#include <utility>

namespace corvane {

FilesPage::FilesPage(std::vector<File> files, std::optional<std::string> nextPageToken)
    : files_(std::move(files)), nextPageToken_(std::move(nextPageToken)) {}

void FilesPage::encode(Encoder& encoder) const {
  coding::encodeRecord(*this, encoder);
}

FilesPage FilesPage::decode(const Decoder& decoder) {
  return coding::decodeRecord<FilesPage>(decoder);
}

bool operator==(const FilesPage& left, const FilesPage& right) {
  return equality::equalRecords(left, right);
}

}  // namespace corvane
