// Usage: bench-many URL CA-FILE EMAIL OBJECTS at-once|one-by-one SECONDS
// API objects that each list all pages: all of them at the same time, or each on its own. Connections are closed
// after SECONDS without a request. What objects hold is told right after their last page, and after that.
#include "Operations.hpp"
#include "SignedIn.hpp"

#include <sys/resource.h>

#include <algorithm>
#include <exception>
#include <fstream>
#include <future>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>
#include <vector>

namespace {

/// Each API object has a connection of its own.
void allowManyConnections() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

int threads() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("Threads:")) return std::stoi(line.substr(line.find(':') + 1));
  return 0;
}

/// One API object's listing; its pages are counted and dropped.
class Listing {
 public:
  explicit Listing(std::shared_ptr<corvane::GoogleDriveAPIType> api) : api_(std::move(api)) {}

  void start() { request(std::nullopt); }
  /// When it was complete, in ms.
  double wait() {
    const double when = finished_.get_future().get();
    const std::lock_guard lock(mutex_);  // the request of the last page may still be under way on its own thread
    return when;
  }
  std::size_t files() const { return files_; }

 private:
  void request(std::optional<std::string> token) {
    const std::lock_guard lock(mutex_);  // the next page may be complete before this call is
    subscriptions_.push_back(api_->getFilesPage(std::move(token))
                                 .sink([this](const auto& completion) { completed(completion); },
                                       [this](const corvane::FilesPage& page) {
                                         files_ += page.files().size();
                                         next_ = page.nextPageToken();
                                       }));
  }

  void completed(const corvane::Completion<corvane::AnyError>& completion) {
    if (completion.isFailure()) {
      finished_.set_exception(std::make_exception_ptr(completion.error()));
    } else if (next_) {
      request(std::exchange(next_, std::nullopt));
    } else {
      finished_.set_value(bench::Usage::now().wall);
    }
  }

  const std::shared_ptr<corvane::GoogleDriveAPIType> api_;
  std::size_t files_ = 0;
  std::optional<std::string> next_;
  std::promise<double> finished_;
  std::mutex mutex_;
  std::vector<corvane::AnyCancellable> subscriptions_;
};

std::size_t listAlone(bench::SignedIn& host, const std::string& email) {
  Listing listing(host.makeAPI(email));
  listing.start();
  listing.wait();
  return listing.files();
}

void oneByOne(bench::SignedIn& host, const std::string& email, std::size_t objects) {
  const auto begin = bench::Usage::now();
  std::size_t files = 0;
  for (std::size_t i = 0; i < objects; ++i) files += listAlone(host, email);
  const auto end = bench::Usage::now();
  std::printf(R"({"files": %zu, "cpu": %.3f, "wall": %.3f})"
              "\n",
              files, end.cpu - begin.cpu, end.wall - begin.wall);
}

void atOnce(bench::SignedIn& host, const std::string& email, std::size_t objects,
            const corvane::HTTPLimits& limits) {
  std::vector<std::shared_ptr<corvane::GoogleDriveAPIType>> apis(objects);
  double heap = bench::heapInUse();
  for (auto& api : apis) api = host.makeAPI(email);
  const double unused = bench::heapInUse() - heap;

  std::vector<double> times;
  std::size_t files = 0;
  int mostThreads = 0;
  bench::Usage begin;
  bench::Usage end;
  {
    std::vector<std::unique_ptr<Listing>> listings;
    for (const auto& api : apis) listings.push_back(std::make_unique<Listing>(api));
    std::jthread watch([&mostThreads](const std::stop_token& stop) {
      while (!stop.stop_requested()) {
        mostThreads = std::max(mostThreads, threads() - 1);  // all but this one
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
      }
    });
    begin = bench::Usage::now();
    for (const auto& listing : listings) listing->start();
    for (const auto& listing : listings) times.push_back(listing->wait() - begin.wall);
    end = bench::Usage::now();
    for (const auto& listing : listings) files += listing->files();
  }
  const auto heapAfterAnother = [heap](std::chrono::seconds time) {
    std::this_thread::sleep_for(time);
    return bench::heapInUse() - heap;
  };
  const double last = heapAfterAnother(std::chrono::seconds(0));
  const double closed = heapAfterAnother(limits.idleConnection + std::chrono::seconds(1));
  std::sort(times.begin(), times.end());
  std::printf(
      R"({"files": %zu, "cpu": %.3f, "wall": %.3f, "peak": %ld, "threads": %d, "unused": %.0f, "last": %.0f, )"
      R"("closed": %.0f, )"
      R"("median": %.3f, "slowest": %.3f})"
      "\n",
      files, end.cpu - begin.cpu, end.wall - begin.wall, bench::peakKiB(), mostThreads,
      unused / static_cast<double>(objects), last / static_cast<double>(objects),
      closed / static_cast<double>(objects), times[times.size() / 2], times.back());
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 7) {
    std::fputs("usage: bench-many URL CA-FILE EMAIL OBJECTS at-once|one-by-one SECONDS\n", stderr);
    return 2;
  }
  allowManyConnections();
  try {
    corvane::HTTPLimits limits;
    limits.idleConnection = std::chrono::seconds(std::stoul(arguments[6]));
    bench::SignedIn host(arguments[1], arguments[2], limits);
    const std::string email = arguments[3];
    const std::size_t objects = std::stoul(arguments[4]);
    listAlone(host, email);  // threads, authorities and the keychain are there from now on
    if (std::string_view(arguments[5]) == "at-once")
      atOnce(host, email, objects, limits);
    else
      oneByOne(host, email, objects);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench-many: %s\n", error.what());
    return 1;
  }
  return 0;
}
