// What publishers cost beside the callbacks that they stand for.
#include <Corvane/Corvane.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>
#include <CorvanePlatform/Retry.hpp>

#include <benchmark/benchmark.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <optional>

namespace {

using corvane::AnyCancellable;
using corvane::AnyError;
using corvane::AnyPublisher;

AnyPublisher<int> oneValue() {
  return AnyPublisher<int>::create(
      [](const corvane::Subscriber<int, AnyError>& subscriber) {
        subscriber.succeed(1);
        return AnyCancellable();
      },
      {corvane::NSError("bench", 1), {}});
}

int received(const AnyPublisher<int>& publisher) {
  int sum = 0;
  const auto subscription = publisher.sink([](const auto&) {}, [&sum](int value) { sum += value; });
  return sum;
}

void value(benchmark::State& state) {
  const auto publisher = oneValue();
  for (auto _ : state) benchmark::DoNotOptimize(received(publisher));
}
BENCHMARK(value)->Name("a value through a publisher/corvane");

/// The same promises kept by hand: callbacks that outlive the call, one value, one end, and a way to cancel.
struct Subscription {
  std::function<void(int)> onValue;
  std::function<void()> onCompletion;
  std::atomic<bool> ended{false};
};

void callback(benchmark::State& state) {
  const std::function<void(const std::shared_ptr<Subscription>&)> work = [](const auto& subscription) {
    if (!subscription->ended) subscription->onValue(1);
    if (!subscription->ended.exchange(true)) subscription->onCompletion();
  };
  for (auto _ : state) {
    int sum = 0;
    const auto subscription = std::make_shared<Subscription>();
    subscription->onValue = [&sum](int number) { sum += number; };
    subscription->onCompletion = [] {};
    work(subscription);
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(callback)->Name("a value through a publisher/floor");

void retried(benchmark::State& state) {
  const auto platform = corvane::makeLinuxPlatform();
  const auto publisher =
      corvane::retry(oneValue(), corvane::DelayedRetryBehavior::exponentialDelayed(4, 1.0, 1.0, 8.0),
                     platform.userInitiatedQueue, [](const AnyError&) { return true; });
  for (auto _ : state) benchmark::DoNotOptimize(received(publisher));
}
BENCHMARK(retried)->Name("a value through a retry that is not needed/corvane");
BENCHMARK(value)->Name("a value through a retry that is not needed/floor");

constexpr int operations = 500;

/// Operations that are cancelled before a worker gets to them; what the workers then have to clear away counts too.
void cancelled(benchmark::State& state) {
  constexpr int atLeastAsManyAsWorkers = 4;
  const auto platform = corvane::makeLinuxPlatform();
  corvane::CorvaneFactory factory(
      std::nullopt, "bench", "", [] { return std::optional<corvane::WindowHandle>(); }, platform);
  const auto api = factory.makeAPI(corvane::GoogleDriveAccountModel("ada@example.com"));
  for (auto _ : state) {
    std::promise<void> gate;
    const auto opened = gate.get_future().share();
    for (int i = 0; i < atLeastAsManyAsWorkers; ++i)
      platform.userInitiatedQueue->async([opened] { opened.wait(); });
    for (int i = 0; i < operations; ++i)
      const auto subscription = api->getAbout().sink([](const auto&) {}, [](const corvane::About&) {});
    std::promise<void> cleared;
    platform.userInitiatedQueue->async([&cleared] { cleared.set_value(); });
    gate.set_value();
    cleared.get_future().wait();
  }
}
BENCHMARK(cancelled)
    ->Name("500 operations made, subscribed and cancelled/corvane")
    ->MeasureProcessCPUTime()
    ->UseRealTime();

}  // namespace
