// From the REST client's objects to records, against moving the same texts by hand without asking whether they are
// there.
#include "GoogleDriveAPI/Conversions.hpp"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using corvane::File;
using corvane::GTLRDrive_File;

constexpr int filesPerPage = 500;

std::vector<GTLRDrive_File> page() {
  std::vector<GTLRDrive_File> files(filesPerPage);
  int number = 0;
  for (auto& file : files) {
    const auto tail = std::to_string(++number);
    file.identifier = "1aBcDeFgHiJkLmNoPqRsTuVwXyZ-" + tail;
    file.mimeType = "application/vnd.google-apps.document";
    file.name = "Minutes of the meeting number " + tail;
    file.size = 1'000'000 + number;
    file.shared = false;
    file.trashed = false;
    file.createdTime = file.modifiedTime = corvane::Date{};
    file.parents = std::vector<std::string>{"0AaBbCcDdEeFfGgHhPVA"};
    file.iconLink =
        "https://drive-thirdparty.googleusercontent.com/16/type/application/vnd.google-apps.document";
    file.webViewLink = "https://docs.google.com/document/d/" + *file.identifier + "/edit?usp=drivesdk";
  }
  return files;
}

std::vector<File> byHand(std::vector<GTLRDrive_File> objects) {
  std::vector<File> files;
  files.reserve(objects.size());
  for (auto& object : objects)
    files.emplace_back(*std::move(object.identifier), *std::move(object.mimeType), *std::move(object.name),
                       std::to_string(*object.size), *object.shared, *object.trashed, *object.createdTime,
                       *object.modifiedTime, std::move(object.parents), std::move(object.iconLink),
                       std::move(object.webViewLink));
  return files;
}

template <class Convert>
void convertPages(benchmark::State& state, Convert convert) {
  const auto objects = page();
  for (auto _ : state) {
    state.PauseTiming();
    auto copy = objects;
    state.ResumeTiming();
    auto files = convert(std::move(copy));
    state.PauseTiming();
    if (files.size() != filesPerPage) state.SkipWithError("files were lost");
    files = {};
    state.ResumeTiming();
  }
}

void records(benchmark::State& state) {
  convertPages(state, [](auto objects) { return corvane::convertFiles(std::move(objects)); });
}
BENCHMARK(records)->Name("500 objects into records/corvane");

void recordsByHand(benchmark::State& state) {
  convertPages(state, [](auto objects) { return byHand(std::move(objects)); });
}
BENCHMARK(recordsByHand)->Name("500 objects into records/floor");

}  // namespace
