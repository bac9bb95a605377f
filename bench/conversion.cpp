// Usage: conversion BODY-FILE (corvane|by-hand) TIMES
// Turns the body of one page into records, again and again: with the module's parser and conversion, or with
// simdjson's DOM and a loop that copies the same texts and checks nothing.
#include "ByHand.hpp"
#include "Usage.hpp"

#include "Corvane/GoogleDriveAPI/Conversions.hpp"
#include "simdjson/SIMDJSONDriveParser.hpp"

#include <Corvane/Data.hpp>
#include <Corvane/FilesPage.hpp>

#include <simdjson.h>

#include <fstream>
#include <iterator>

namespace {

using simdjson::dom::element;

[[noreturn]] void die(const char* why) {
  std::fprintf(stderr, "conversion: %s\n", why);
  std::exit(1);
}

class Module {
 public:
  std::size_t convert(const corvane::Data& body) const {
    auto list = parser_.fileList(body);
    if (!list || !list->files) die("the body is no page");
    const corvane::FilesPage page(corvane::convertFiles(*list->files), std::move(list->nextPageToken));
    return page.files().size();
  }

 private:
  corvane::SIMDJSONDriveParser parser_;
};

class ByHand {
 public:
  std::size_t convert(const corvane::Data& body) {
    bench::Page page;
    const simdjson::dom::object top =
        parser_.parse(reinterpret_cast<const char*>(body.data()), body.size(), false).get_object();
    for (const auto field : top) {
      if (field.key == "nextPageToken") page.nextPageToken = text(field.value);
      if (field.key != "files") continue;
      const simdjson::dom::array entries = field.value.get_array();
      page.files.reserve(entries.size());
      for (const auto entry : entries) read(page.files.emplace_back(), entry.get_object().value_unsafe());
    }
    return page.files.size();
  }

 private:
  static std::string_view text(const element& value) { return value.get_string().value_unsafe(); }

  static void readParents(std::vector<std::string>& parents, const simdjson::dom::array& list) {
    for (const auto parent : list) parents.emplace_back(text(parent));
  }

  static void read(bench::File& file, const simdjson::dom::object& entry) {
    for (const auto [key, value] : entry) switch (key.front()) {
        case 'i':
          if (key == "id") file.id = text(value);
          if (key == "iconLink") file.iconLink = text(value);
          break;
        case 'n':
          if (key == "name") file.name = text(value);
          break;
        case 's':
          if (key == "size") file.size = text(value);
          if (key == "shared") file.shared = value.get_bool().value_unsafe();
          break;
        case 't':
          if (key == "trashed") file.trashed = value.get_bool().value_unsafe();
          break;
        case 'p':
          readParents(file.parents.emplace(), value.get_array().value_unsafe());
          break;
        case 'm':
          if (key == "mimeType") file.mimeType = text(value);
          if (key == "modifiedTime") file.modifiedTime = bench::timeFrom(text(value));
          break;
        case 'c':
          if (key == "createdTime") file.createdTime = bench::timeFrom(text(value));
          break;
        case 'w':
          if (key == "webViewLink") file.webViewLink = text(value);
          break;
        default:
          break;
      }
  }

  simdjson::dom::parser parser_;
};

template <class Converter>
void measure(Converter converter, const corvane::Data& body, int times) {
  converter.convert(body);  // makes the parser's memory
  std::size_t files = 0;
  const auto start = bench::Usage::now();
  for (int i = 0; i < times; ++i) files += converter.convert(body);
  bench::report(start, files);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) die("usage: conversion BODY-FILE (corvane|by-hand) TIMES");
  std::ifstream file(arguments[1], std::ios::binary);
  const std::string text(std::istreambuf_iterator<char>(file), {});
  if (text.empty()) die("the body cannot be read");
  auto body = corvane::dataFromText(text);
  body.reserve(body.size() + simdjson::SIMDJSON_PADDING);
  const int times = std::atoi(arguments[3]);
  if (std::string_view(arguments[2]) == "corvane")
    measure(Module(), body, times);
  else
    measure(ByHand(), body, times);
  return 0;
}
