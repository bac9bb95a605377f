#include "Listing.hpp"

#include <Corvane/Get.hpp>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <numeric>
#include <optional>
#include <utility>

namespace corvane::soak {
namespace {

std::string nameOf(const AnyError& error) {
  const auto domain = error.domain();
  return domain + " " + std::to_string(error.code());
}

}  // namespace

Listing::Listing(std::string email, std::shared_ptr<GoogleDriveAPIType> drive, std::size_t files)
    : email_(std::move(email)), drive_(std::move(drive)), files_(files) {
  seen_.reserve(files_ + 1'000);
}

void Listing::run(const std::atomic<bool>& over) {
  while (!over) {
    try {
      listOnce(over);
    } catch (const AnyError& error) {
      ++failures_[nameOf(error)];
    }
  }
}

void Listing::listOnce(const std::atomic<bool>& over) {
  seen_.clear();
  std::optional<std::string> token;
  do {
    if (over) return;
    const FilesPage page = get(drive_->getFilesPage(token));
    ++pages_;
    for (const File& file : page.files()) seen_.push_back(std::hash<std::string>()(file.id));
    if (seen_.size() > files_) break;  // it would go on for ever
    token = page.nextPageToken();
  } while (token);
  check();
}

void Listing::check() {
  const auto brought = seen_.size();
  const auto sum = std::accumulate(seen_.begin(), seen_.end(), std::uint64_t{0});
  std::sort(seen_.begin(), seen_.end());
  const auto distinct = static_cast<std::size_t>(std::unique(seen_.begin(), seen_.end()) - seen_.begin());
  if (fingerprint_ == 0) fingerprint_ = sum;
  ++completed_;
  if (brought == files_ && distinct == files_ && sum == fingerprint_) return;
  ++wrong_;
  std::fprintf(stderr, "%s: a listing brought %zu files, %zu of them distinct, of %zu%s\n", email_.c_str(),
               brought, distinct, files_, sum == fingerprint_ ? "" : "; not the files of the first listing");
}

}  // namespace corvane::soak
