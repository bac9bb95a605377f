// Usage: listing URL CA-FILE EMAIL
// A listing through the public API, as a host writes it that keeps all pages: each page is asked for as soon as the
// one before it is complete.
#include "Host.hpp"
#include "Usage.hpp"

#include <Corvane/Corvane.hpp>

#include <cstdlib>
#include <exception>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace {

class Listing {
 public:
  explicit Listing(std::shared_ptr<corvane::GoogleDriveAPIType> drive) : drive_(std::move(drive)) {}

  std::size_t run() {
    request(std::nullopt);
    done_.get_future().get();
    std::size_t files = 0;
    for (const auto& page : pages_) files += page.files().size();
    return files;
  }

 private:
  void request(std::optional<std::string> token) {
    const std::lock_guard lock(mutex_);  // the next page may be complete before this call is
    subscriptions_.push_back(
        drive_->getFilesPage(std::move(token))
            .sink([this](const auto& completion) { completed(completion); },
                  [this](corvane::FilesPage page) { pages_.push_back(std::move(page)); }));
  }

  void completed(const corvane::Completion<corvane::AnyError>& completion) {
    if (completion.isFailure()) {
      std::fprintf(stderr, "listing: %s\n", completion.error().localizedDescription().c_str());
      std::exit(1);
    }
    if (const auto& next = pages_.back().nextPageToken())
      request(next);
    else
      done_.set_value();
  }

  const std::shared_ptr<corvane::GoogleDriveAPIType> drive_;
  std::vector<corvane::FilesPage> pages_;
  std::vector<corvane::AnyCancellable> subscriptions_;
  std::promise<void> done_;
  std::mutex mutex_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) {
    std::fputs("usage: listing URL CA-FILE EMAIL\n", stderr);
    return 2;
  }
  try {
    bench::Host host(arguments[1], arguments[2]);
    auto* const listing = new Listing(host.signedIn(arguments[3]));  // the pages are kept, also at the end
    const auto start = bench::Usage::now();
    const auto files = listing->run();
    bench::report(start, files);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "listing: %s\n", error.what());
    return 1;
  }
  return 0;
}
