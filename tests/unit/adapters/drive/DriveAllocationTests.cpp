#include "DriveServiceFixture.hpp"
#include "support/FailingAllocations.hpp"

#include <optional>

namespace corvane::test {
namespace {

class DriveAllocation : public DriveServiceTest {
 protected:
  /// A request waits for a token, which arrives with one allocation more each time, until the
  /// request leaves.
  void exhaustArrivalOfAToken() {
    constexpr int enough = 1'000;
    int allocations = 0;
    for (bool isEnough = false; !isEnough && allocations < enough; ++allocations) {
      SCOPED_TRACE(std::to_string(allocations) + " allocations");
      session->hold();
      const auto delivery = execute(listQuery());
      const auto sentBefore = client->sent();
      {
        const FailingAllocations shortage(allocations);
        try {
          session->letGo();
        } catch (
            const std::
                bad_alloc&) {  // the session had no memory for the token, and dropped the handler
        }
      }
      isEnough = FailingAllocations::failures() == 0;
      queue->runAll();
      EXPECT_EQ(delivery->calls, isEnough ? 0 : 1);
      if (isEnough) {
        EXPECT_EQ(client->sent() - sentBefore, 1u);
      }
      if (HasFailure()) return;
    }
    EXPECT_GT(allocations, 1);
    EXPECT_LT(allocations, enough);
  }

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
      std::optional<FailingAllocations> shortage;
      ticket = service->executeQuery(query, [&](const auto&, GTLRObject, std::optional<NSError> error) {
        shortage.reset();
        ++calls;
        code = error ? error->code() : 0;
      });
      auto answer = Result<HTTPResponse, NSError>::success(response(status, body));
      shortage.emplace(allocations);
      client->answer(client->sent() - 1, std::move(answer));
      shortage.reset();
      ASSERT_EQ(calls, 1) << "with " << allocations << " allocations";
      if (FailingAllocations::failures() == 0) {
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

TEST_F(DriveAllocation, ThatFailsOnceATokenArrivesIsOneError) {
  exhaustArrivalOfAToken();
}

}  // namespace
}  // namespace corvane::test
