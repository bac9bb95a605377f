#include "DriveServiceFixture.hpp"

#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

namespace corvane::test {
namespace {

constexpr int rounds = 3'000;

/// How often the handler was called and released; the handler may run on any thread.
struct Ends {
  std::atomic<int> calls{0};
  std::atomic<int> releases{0};
};

GTLRDriveService::CompletionHandler countingHandler(const std::shared_ptr<Ends>& ends) {
  std::shared_ptr<void> released(nullptr, [ends](void*) { ++ends->releases; });
  return [ends, released](const auto&, GTLRObject, std::optional<NSError>) { ++ends->calls; };
}

class DriveRace : public DriveServiceTest {
 protected:
  /// Runs two actions at the same moment, on two threads that live as long as the test, once per round; `prepare` comes
  /// before each round and `check` after it.
  template <class Prepare, class One, class Other, class Check>
  static void race(Prepare prepare, One one, Other other, Check check) {
    std::barrier start(2);
    std::barrier finish(2);
    std::thread second([&] {
      for (int i = 0; i < rounds; ++i) {
        start.arrive_and_wait();
        other();
        finish.arrive_and_wait();
      }
    });
    for (int i = 0; i < rounds; ++i) {
      prepare();
      start.arrive_and_wait();
      one();
      finish.arrive_and_wait();
      check();
    }
    second.join();
  }

  std::shared_ptr<Ends> ends;

  void begin(GTLRDriveQuery query) {
    ends = std::make_shared<Ends>();
    first = client->sent();
    ticket = service->executeQuery(std::move(query), countingHandler(ends));
  }

  std::size_t first = 0;
};

TEST_F(DriveRace, AnAnswerAndACancellationEndARequestOnce) {
  int called = 0;
  race([this] { begin(listQuery()); }, [this] { client->answer(first, 200, R"({"files":[{"id":"1"}]})"); },
       [this] { ticket->cancelTicket(); },
       [&] {
         ASSERT_LE(ends->calls, 1);
         ASSERT_EQ(ends->releases, 1);
         called += ends->calls;
       });
  RecordProperty("called", called);
}

TEST_F(DriveRace, ACancellationDuringTheStepToTheRepetitionLeavesNothingRunning) {
  race([this] { begin(deleteQuery()); }, [this] { client->answer(first, 401); },
       [this] { ticket->cancelTicket(); },
       [this] {
         ASSERT_EQ(ends->calls, 0);
         ASSERT_EQ(ends->releases, 1);
         if (client->sent() == first + 2) {
           ASSERT_TRUE(client->wasCancelled(first + 1));
         }
       });
}

TEST_F(DriveRace, ACancellationDuringTheStepFromTheTokenLeavesNothingRunning) {
  race(
      [this] {
        session->hold();
        begin(deleteQuery());
      },
      [this] { session->letGo(); }, [this] { ticket->cancelTicket(); },
      [this] {
        ASSERT_EQ(ends->calls, 0);
        ASSERT_EQ(ends->releases, 1);
        if (client->sent() == first + 1) {
          ASSERT_TRUE(client->wasCancelled(first));
        }
      });
}

TEST_F(DriveRace, AnAnswerAndTheEndOfTheServiceEndARequestOnce) {
  std::shared_ptr<ScriptedHTTPClient> current;
  race(
      [&] {
        current = std::make_shared<ScriptedHTTPClient>();
        service = std::make_shared<RESTDriveService>(current, std::make_shared<SIMDJSONDriveParser>(), queue);
        service->setAuthorizer(session);
        ends = std::make_shared<Ends>();
        ticket = service->executeQuery(aboutQuery(), countingHandler(ends));
      },
      [&] { current->answer(0, 200, "{}"); }, [&] { service.reset(); },
      [&] {
        ASSERT_LE(ends->calls, 1);
        ASSERT_EQ(ends->releases, 1);
      });
}

TEST_F(DriveRace, StoppingMeetsRequestsThatComeAndGo) {
  constexpr int count = 500;
  const auto all = std::make_shared<Ends>();
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < count; ++i) {
        const auto running = service->executeQuery(aboutQuery(), countingHandler(all));
        if (i % 3 == 0) running->cancelTicket();
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < count; ++i) service->fetcherService().stopAllFetchers();
  });
  threads.emplace_back([&] {
    for (int i = 0; i < count; ++i)
      if (const auto sent = client->sent()) client->answer(static_cast<std::size_t>(i) % sent, 200, "{}");
  });
  for (auto& thread : threads) thread.join();
  service->fetcherService().stopAllFetchers();
  EXPECT_EQ(all->releases, 3 * count);
  EXPECT_LE(all->calls, 3 * count);
}

}  // namespace
}  // namespace corvane::test
