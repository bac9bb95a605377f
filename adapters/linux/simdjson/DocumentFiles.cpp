#include "DocumentFiles.hpp"

#include "FileMembers.hpp"

namespace corvane {

void DocumentFiles::forEach(const Visitor& visit) const {
  FileReader reader;
  for (const auto entry : entries_) {
    // An entry that is no object is a file without members: it is counted, and lost when it is converted.
    simdjson::dom::object members;
    visit(entry.get(members) ? reader.readNone() : reader.read(members));
  }
}

}  // namespace corvane
