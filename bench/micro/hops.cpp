// The queue against the same scheduler with two bare threads.
#include "asio/AsioQueues.hpp"

#include <benchmark/benchmark.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <atomic>
#include <functional>
#include <thread>

namespace {

class BareThreads {
 public:
  ~BareThreads() {
    guard_.reset();
    for (auto& thread : threads_) thread.join();
  }

  template <class Block>
  void async(Block block) {
    boost::asio::post(context_, std::move(block));
  }

 private:
  boost::asio::io_context context_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_{context_.get_executor()};
  std::thread threads_[2]{std::thread([this] { context_.run(); }), std::thread([this] { context_.run(); })};
};

/// Posts a block and sleeps until it has run.
template <class Queue>
void thereAndBack(benchmark::State& state, Queue& queue) {
  for (auto _ : state) {
    std::atomic<bool> done{false};
    queue.async([&done] {
      done = true;
      done.notify_one();
    });
    done.wait(false);
  }
}

constexpr int hops = 1000;

template <class Queue>
struct Chain {
  Queue& queue;
  std::atomic<int>& left;
  void operator()() const {
    if (left.fetch_sub(1) == 1)
      left.notify_one();
    else
      queue.async(*this);
  }
};

/// Each block posts the next, so that the worker is awake.
template <class Queue>
void chain(benchmark::State& state, Queue& queue) {
  for (auto _ : state) {
    std::atomic<int> left{hops};
    queue.async(Chain<Queue>{queue, left});
    for (int now = left; now > 0; now = left) left.wait(now);
  }
  state.SetItemsProcessed(state.iterations() * hops);
}

void hopThereAndBack(benchmark::State& state) {
  const auto queues = corvane::makeLinuxQueues();
  thereAndBack(state, *queues.userInitiated);
}
BENCHMARK(hopThereAndBack)
    ->Name("a hop to a sleeping worker/corvane")
    ->MeasureProcessCPUTime()
    ->UseRealTime();

void bareThereAndBack(benchmark::State& state) {
  BareThreads threads;
  thereAndBack(state, threads);
}
BENCHMARK(bareThereAndBack)->Name("a hop to a sleeping worker/floor")->MeasureProcessCPUTime()->UseRealTime();

void hopChain(benchmark::State& state) {
  const auto queues = corvane::makeLinuxQueues();
  chain(state, *queues.userInitiated);
}
BENCHMARK(hopChain)->Name("1,000 hops from block to block/corvane")->MeasureProcessCPUTime()->UseRealTime();

void bareChain(benchmark::State& state) {
  BareThreads threads;
  chain(state, threads);
}
BENCHMARK(bareChain)->Name("1,000 hops from block to block/floor")->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
