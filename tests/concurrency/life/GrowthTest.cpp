// What subscribes and cancels for ever must not grow.
#include "flows/FlowFixture.hpp"
#include "support/Race.hpp"

#include <CorvanePlatform/Retry.hpp>

#include <malloc.h>

#include <filesystem>

namespace corvane::test {
namespace {

class GrowthTest : public FlowTest {};

constexpr int usualRounds = 100'000;
constexpr std::size_t mostGrowth = 4 * 1024;  // KiB: forty bytes per round; a forgotten timer takes more

/// What is allocated; free memory that the allocator keeps does not count.
std::size_t memoryKiB() {
  return mallinfo2().uordblks / 1024;
}

std::ptrdiff_t descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

/// Does it until what can be reused has been made, and then measures what the usual rounds add.
template <class Round, class Settle>
void expectNoGrowth(Round round, Settle settle) {
  const int rounds = raceRounds(usualRounds);
  for (int i = 0; i < rounds / 4; ++i) round();
  settle();
  const auto memoryBefore = memoryKiB();
  const auto descriptorsBefore = descriptors();
  for (int i = 0; i < rounds; ++i) round();
  settle();
  EXPECT_LE(descriptors(), descriptorsBefore + 4);
  // The sanitizers have an allocator of their own, which does not say.
  if (raceRoundsDividedBy == 1) {
    EXPECT_LE(memoryKiB(), memoryBefore + mostGrowth);
  }
}

TEST_F(GrowthTest, SubscribingAndCancellingForLongLeavesNothingBehind) {
  auto factory = makeFactory();
  const auto drive = factory.makeAPI(signIn(factory));
  log->switchOff();  // it keeps its lines
  int round = 0;
  expectNoGrowth(
      [&] {
        // Most are cancelled before they leave, some while the server thinks.
        const auto gate = ++round % 100 == 0 ? std::make_shared<emulator::Gate>() : nullptr;
        if (gate) google.faults().add("about", emulator::Fault::held(gate));
        const auto subscription = drive->getAbout().sink([](const auto&) {}, [](const About&) {});
        if (gate) {
          EXPECT_TRUE(gate->waitUntilReached());
        }
        subscription.cancel();
        if (gate) gate->open();
      },
      [&] {
        get(drive->getAbout());
        google.journal().clear();
      });
}

TEST_F(GrowthTest, CancelledRetryDelaysLeaveNoTimerBehind) {
  const auto queue = makePlatform().taskPool;  // its clock is the real one
  const auto failing = retry(AnyPublisher<int>::failing(NSError("D", 1)),
                             DelayedRetryBehavior::exponentialDelayed(4, 1'000, 1, 8'000), queue,
                             [](const AnyError&) { return true; });
  // The clock comes to the first one behind all cancellations, and to the second one behind the waits that these end.
  const auto settle = [&] {
    for (int i = 0; i < 2; ++i) {
      std::promise<void> over;
      const auto timer = queue->asyncAfter(std::chrono::microseconds(1), [&] { over.set_value(); });
      over.get_future().wait();
    }
  };
  expectNoGrowth([&] { failing.sink([](const auto&) {}, [](int) {}).cancel(); }, settle);
}

}  // namespace
}  // namespace corvane::test
