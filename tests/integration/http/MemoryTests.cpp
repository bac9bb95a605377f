// Memory that runs out between the arrival of an answer and its delivery: each allocation of the network thread and
// of the pool's threads fails in turn, and each time the handler gets the answer or an error, once.
#include "Gzip.hpp"
#include "HTTPFixture.hpp"
#include "support/AllocationOperators.hpp"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <latch>
#include <string_view>

namespace {

std::atomic<int> allocationsUntilFailure{-1};

bool isOfTheTransport() {
  thread_local int answer = -1;
  if (answer < 0) {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    const std::string_view own(name);
    answer = own == "corvane-http" || own == "pool";
  }
  return answer == 1;
}

}  // namespace

void* corvane::test::allocate(std::size_t size) noexcept {
  if (allocationsUntilFailure >= 0 && isOfTheTransport() && allocationsUntilFailure-- == 0) return nullptr;
  return std::malloc(size ? size : 1);
}

void corvane::test::release(void* memory) noexcept {
  std::free(memory);
}

namespace corvane::test {
namespace {

/// Makes the pool's two threads known to the failing allocator.
void namePoolThreads(PoolQueue& pool) {
  const auto both = std::make_shared<std::latch>(3);
  for (int i = 0; i < 2; ++i)
    pool.async([both] {
      pthread_setname_np(pthread_self(), "pool");
      both->arrive_and_wait();
    });
  both->arrive_and_wait();
}

struct Arrival {
  std::string name;
  std::string bytes;
  int code;  // 0 for an answer
};

class OutOfMemoryFor : public testing::TestWithParam<Arrival> {};

void expectTheAnswerOrOneError(const Arrival& arrival) {
  int failures = 0;
  for (int n = 0; n < 1000; ++n) {
    std::promise<void> arrived;
    std::promise<void> armed;
    const ScriptedServer server([&, mayAnswer = armed.get_future().share()](ScriptedConnection& connection) {
      connection.readRequest();
      arrived.set_value();
      mayAnswer.wait();
      connection.send(arrival.bytes);
    });
    HTTPFixture http;
    namePoolThreads(*http.pool);
    AwaitedAnswer answer;
    const auto ticket = http.client->send(makeRequest("GET", server.url()), answer.handler());
    arrived.get_future().wait();
    allocationsUntilFailure = n;
    armed.set_value();
    const auto outcome = answer.wait();
    const bool reached = allocationsUntilFailure.exchange(-1) < 0;
    if (!outcome.isSuccess() && outcome.error().code() == urlError::unknown)
      ++failures;
    else if (arrival.code == 0)
      EXPECT_THAT(outcome, IsAnswer(200, std::string(5000, 'x')));
    else
      EXPECT_THAT(outcome, IsURLError(arrival.code));
    if (!reached) {
      EXPECT_GT(failures, 0);
      return;
    }
  }
  FAIL() << "the answer needs more allocations than this test can believe";
}

TEST_P(OutOfMemoryFor, AnArrivingAnswerGivesItOrOneError) {
  expectTheAnswerOrOneError(GetParam());
}

/// Whether sending met the failing allocation. Either nothing is sent and `send` throws, or there is one
/// outcome.
bool sendingFails(int allocation) {
  const ScriptedServer server(alwaysAnswer(httpAnswer("ok")));
  HTTPFixture http;
  auto request = makeRequest("GET", server.url());
  AwaitedAnswer answer;
  auto handler = answer.handler();
  std::shared_ptr<Cancellable> ticket;
  bool wasRefused = false;
  std::thread([&] {
    pthread_setname_np(pthread_self(), "pool");
    allocationsUntilFailure = allocation;
    try {
      ticket = http.client->send(std::move(request), std::move(handler));
    } catch (const std::bad_alloc&) {
      wasRefused = true;
    }
  }).join();
  if (!wasRefused) {
    const auto outcome = answer.wait();
    if (outcome.isSuccess())
      EXPECT_THAT(outcome, IsAnswer(200, "ok"));
    else
      EXPECT_THAT(outcome, IsURLError(urlError::unknown));
  }
  const bool reached = allocationsUntilFailure.exchange(-1) < 0;
  EXPECT_THAT(http.get(server.url()), IsAnswer(200, "ok"));  // nothing is left behind
  return reached;
}

TEST(OutOfMemory, WhileARequestIsSentRefusesItOrGivesOneOutcome) {
  int allocation = 0;
  while (sendingFails(allocation)) ++allocation;
  EXPECT_GT(allocation, 5);
}

const std::string text(5000, 'x');
const Arrival arrivals[] = {
    {"Plain", httpAnswer(text, "X-Header: a value that is too long to be kept within the string itself\r\n"),
     0},
    {"Packed", httpAnswer(gzip(text), "Content-Encoding: gzip\r\n"), 0},
    {"Damaged", httpAnswer("damaged", "Content-Encoding: gzip\r\n"), -1017},
    {"Lost", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf", -1005},
};

INSTANTIATE_TEST_SUITE_P(, OutOfMemoryFor, testing::ValuesIn(arrivals),
                         [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace corvane::test
