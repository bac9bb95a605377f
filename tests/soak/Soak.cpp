// Lists accounts through the public API, against a Google that misbehaves, for as long as asked.
//   corvane_soak URL ACCOUNTS FILES SECONDS
// Retry delays are a hundredth of the real ones, or the run would consist of them. Ends with 0 when every completed
// listing brought every file exactly once and neither memory nor descriptors nor threads grew.
#include <Corvane/Corvane.hpp>
#include <Corvane/Get.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <exception>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Listing.hpp"
#include "Usage.hpp"
#include "flows/ScriptedBrowser.hpp"
#include "support/TemporaryFolder.hpp"

namespace {

using namespace corvane;
using namespace corvane::soak;
using namespace std::chrono_literals;

constexpr auto sampleEvery = 250ms;
constexpr int patience = 5;  // times as long as asked, on a slow machine, for one listing of each account

/// The platform's queue, on which a second is ten milliseconds.
class HastyQueue final : public Queue {
 public:
  explicit HastyQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
  void async(Block block) override { queue_->async(std::move(block)); }
  std::shared_ptr<Cancellable> asyncAfter(std::chrono::microseconds delay, Block block) override {
    ++retries;
    return queue_->asyncAfter(delay / 100, std::move(block));
  }

  std::atomic<std::size_t> retries{0};

 private:
  std::shared_ptr<Queue> queue_;
};

class Soak {
 public:
  Soak(std::string url, int accounts, std::size_t files) : url_(std::move(url)), files_(files) {
    for (int i = 0; i < accounts; ++i) signIn("user" + std::to_string(i) + "@example.com");
    auto platform = makePlatform();
    queue_ = std::make_shared<HastyQueue>(platform.userInitiatedQueue);
    platform.userInitiatedQueue = queue_;
    auto factory = makeFactory(std::move(platform));
    auto models = get(factory.makeAccountProvider()->getAccounts());
    for (auto& model : models) {
      auto email = model.userEmail();
      listings_.emplace_back(std::move(email), factory.makeAPI(std::move(model)), files_);
    }
  }

  void run(std::chrono::seconds time) {
    std::atomic<bool> over{false};
    std::vector<std::jthread> threads;
    for (auto& listing : listings_) threads.emplace_back([&] { listing.run(over); });
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [start] { return std::chrono::steady_clock::now() - start; };
    while (elapsed() < time || (!everyoneCompleted() && elapsed() < patience * time)) {
      std::this_thread::sleep_for(sampleEvery);
      samples_.push_back(Usage::now());
    }
    over = true;
  }

  bool everyoneCompleted() const {
    return std::all_of(listings_.begin(), listings_.end(),
                       [](const auto& each) { return each.completed() > 0; });
  }

  bool everyoneHasFilesOfTheirOwn() const {
    std::set<std::uint64_t> fingerprints;
    for (const auto& each : listings_) fingerprints.insert(each.fingerprint());
    return fingerprints.size() == listings_.size();
  }

  /// Prints the table; true when all is well.
  bool report() const {
    std::printf("%-24s %9s %9s %9s %9s\n", "account", "listings", "pages", "begun anew", "wrong");
    std::size_t wrong = 0;
    std::map<std::string, std::size_t> failures;
    for (const auto& listing : listings_) {
      std::size_t anew = 0;
      for (const auto& [name, count] : listing.failures()) {
        anew += count;
        failures[name] += count;
      }
      std::printf("%-24s %9zu %9zu %9zu %9zu\n", listing.email().c_str(), listing.completed(),
                  listing.pages(), anew, listing.wrong());
      wrong += listing.wrong();
    }
    for (const auto& [name, count] : failures)
      std::printf("begun anew: %zu times for %s\n", count, name.c_str());
    std::printf("retries: %zu\n", queue_->retries.load());

    const auto [early, late] = Trend::of(samples_);
    std::printf("%-24s %12s %12s\n", "most in a quarter", "second", "last");
    std::printf("%-24s %12zu %12zu\n", "memory (KiB)", early.memoryKiB, late.memoryKiB);
    std::printf("%-24s %12zu %12zu\n", "descriptors", early.descriptors, late.descriptors);
    std::printf("%-24s %12zu %12zu\n", "threads", early.threads, late.threads);

    const auto require = [](bool holds, const char* what) {
      if (!holds) std::printf("FAILED: %s\n", what);
      return holds;
    };
    bool well = require(wrong == 0, "a listing did not bring every file exactly once");
    well &= require(everyoneCompleted(), "an account completed no listing; run it for longer");
    well &= require(everyoneHasFilesOfTheirOwn(), "two accounts brought the same files");
    well &= require(queue_->retries > 0, "nothing was ever tried again, so nothing went wrong");
    well &= require(Trend{early, late}.isFlat(), "memory, descriptors or threads grew");
    return well;
  }

 private:
  Platform makePlatform(const std::string& loginHint = "") {
    LinuxPlatformOptions options;
    options.google = GoogleEndpoints::at(url_);
    options.keychainBackend = KeychainBackend::encryptedFile;
    options.keychainFolder = folder_.path() / "keychain";
    options.presenter = browser_;
    options.loginHint = loginHint;
    // Each refresh opens a connection of its own, and the pool keeps some sixty. With a short limit it is full, and
    // the count of descriptors level, from early on.
    options.limits.idleConnection = 2s;
    options.logLevel = LogLevel::off;
    return makeLinuxPlatform(std::move(options));
  }

  CorvaneFactory makeFactory(Platform platform) {
    return CorvaneFactory(
        dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
        "soak", "", [] { return WindowHandle::terminal(); }, std::move(platform));
  }

  void signIn(const std::string& email) {
    auto factory = makeFactory(makePlatform(email));
    get(factory.makeAuthorizationProvider(nullptr)->signIn());
  }

  const std::string url_;
  const std::size_t files_;
  test::TemporaryFolder folder_;
  std::shared_ptr<test::ScriptedBrowser> browser_ = std::make_shared<test::ScriptedBrowser>();
  std::shared_ptr<HastyQueue> queue_;
  std::deque<Listing> listings_;
  std::vector<Usage> samples_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fputs("usage: corvane_soak URL ACCOUNTS FILES SECONDS\n", stderr);
    return 2;
  }
  try {
    Soak soak(argv[1], std::stoi(argv[2]), std::stoul(argv[3]));
    soak.run(std::chrono::seconds(std::stol(argv[4])));
    return soak.report() ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "corvane_soak: %s\n", error.what());
    return 1;
  }
}
