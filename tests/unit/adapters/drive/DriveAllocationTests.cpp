#include "DriveServiceFixture.hpp"

#include <cstdlib>
#include <new>

// Memory that runs out on demand: on this thread, the n-th allocation from now on fails, and all after it.
namespace {

thread_local bool counting = false;
thread_local int remaining = 0;
thread_local int failures = 0;

void* allocate(std::size_t size) noexcept {
  if (counting && remaining-- <= 0) {
    ++failures;
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

// Not inlined, or g++ would take their malloc and free for the caller's own and warn of a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* memory = allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocate(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

namespace corvane::test {
namespace {

class DriveAllocation : public DriveServiceTest {
 protected:
  /// Answers one request after another, each with one allocation more than the last, until one gets through.
  void exhaust(const GTLRDriveQuery& query, int status, std::string_view body, bool succeeds) {
    constexpr int enough = 1'000;
    int allocations = 0;
    for (; allocations < enough; ++allocations) {
      // The parser is new each time, so that its own memory is asked for again.
      service = std::make_shared<RESTDriveService>(client, std::make_shared<SIMDJSONDriveParser>(), queue);
      service->setAuthorizer(session);
      int calls = 0;
      std::int64_t code = 0;
      ticket = service->executeQuery(query, [&](const auto&, GTLRObject, std::optional<NSError> error) {
        counting = false;
        ++calls;
        code = error ? error->code() : 0;
      });
      auto answer = Result<HTTPResponse, NSError>::success(response(status, body));
      failures = 0;
      remaining = allocations;
      counting = true;
      client->answer(client->sent() - 1, std::move(answer));
      counting = false;
      ASSERT_EQ(calls, 1) << "with " << allocations << " allocations";
      if (failures == 0) {
        EXPECT_EQ(code == 0, succeeds);
        break;
      }
      ASSERT_EQ(code, 12) << "with " << allocations << " allocations";
    }
    EXPECT_GT(allocations, 0);
    EXPECT_LT(allocations, enough);
  }
};

TEST_F(DriveAllocation, ThatFailsOverAPageIsOneErrorAndTheNextPageArrives) {
  exhaust(listQuery(), 200,
          R"({"nextPageToken":"a token that is too long for a small buffer","files":[
              {"id":"an identifier that is too long for a small buffer","parents":["another one that is too long"]},
              {"name":"a name that is too long for a small buffer","createdTime":"2024-01-31T12:34:56.789Z"}]})",
          true);
}

TEST_F(DriveAllocation, ThatFailsOverGooglesErrorIsOneError) {
  exhaust(listQuery(), 403,
          R"({"error":{"code":403,"message":"a message that is too long for a small buffer",
              "errors":[{"domain":"usageLimits","reason":"rateLimitExceeded"}]}})",
          false);
}

TEST_F(DriveAllocation, ThatFailsOverAnotherErrorIsOneError) {
  exhaust(aboutQuery(), 502, "<html>", false);
}

TEST_F(DriveAllocation, ThatFailsOverASignInPageIsOneError) {
  exhaust(deleteQuery(), 200, "<html>", false);
}

}  // namespace
}  // namespace corvane::test
