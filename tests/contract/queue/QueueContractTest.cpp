#include "asio/AsioQueues.hpp"
#include "contract/queue/QueueContract.hpp"
#include "support/ManualQueue.hpp"

namespace corvane::test {
namespace {

struct UserInitiatedQueue {
  std::shared_ptr<Queue> queue = makeLinuxQueues().userInitiated;
  void pass(std::chrono::microseconds) {}
};

struct TaskPoolQueue {
  std::shared_ptr<Queue> queue = makeLinuxQueues().taskPool;
  void pass(std::chrono::microseconds) {}
};

struct QueueOfTheTests {
  std::shared_ptr<ManualQueue> queue = std::make_shared<ManualQueue>();
  void pass(std::chrono::microseconds time) { queue->advance(time); }
};

using Subjects = ::testing::Types<UserInitiatedQueue, TaskPoolQueue, QueueOfTheTests>;
INSTANTIATE_TYPED_TEST_SUITE_P(Queues, QueueContract, Subjects);

}  // namespace
}  // namespace corvane::test
