// What a host gets of a deletion or a move to the trash when something fails: an error, and never a second request.
#include "APIFixture.hpp"

#include <functional>

namespace corvane::test {
namespace {

using emulator::Fault;
using testing::IsEmpty;

struct WriteFault {
  std::string name;
  Fault fault;
  std::string_view domain;
  std::int64_t code;
};

void PrintTo(const WriteFault& row, std::ostream* out) {
  *out << row.name;
}

Fault performed(Fault fault) {
  fault.performed = true;
  return fault;
}

const WriteFault writeFaults[] = {
    {"Busy503", Fault::error(503, "backendError"), GTLRErrorObjectDomain, 503},
    {"TooMany429", Fault::error(429, "rateLimitExceeded").withHeader("Retry-After", "1"),
     GTLRErrorObjectDomain, 429},
    {"RateLimitAs403", Fault::error(403, "userRateLimitExceeded"), GTLRErrorObjectDomain, 429},
    {"NoPermission403", Fault::error(403, "insufficientFilePermissions"), GTLRErrorObjectDomain, 403},
    {"Gateway502AsHTML", Fault::html(502), GTLRServiceErrorDomain, 502},
    {"Redirect307", Fault::redirect("http://127.0.0.1:9/", 307), GTLRServiceErrorDomain, 307},
    {"SignInPageOfANetwork", Fault::content("<html>Welcome</html>"), NSURLErrorDomain, -1017},
    {"ClosedWithoutAnAnswer", Fault::closeWithoutAnswer(), NSURLErrorDomain, -1005},
    {"ClosedWithoutAnAnswerOnceDone", performed(Fault::closeWithoutAnswer()), NSURLErrorDomain, -1005},
    {"ResetBeforeTheHeadersOnceDone", Fault::resetAfterBytes(0), NSURLErrorDomain, -1005},
    {"ResetWithinTheHeadersOnceDone", Fault::resetAfterBytes(30), NSURLErrorDomain, -1005},
    {"BusyOnceDone", performed(Fault::error(503, "backendError")), GTLRErrorObjectDomain, 503},
};

class WriteFaults : public APIFixture, public testing::WithParamInterface<WriteFault> {
 protected:
  /// The file of a listing, so that a kept-alive connection is there to be tempted by.
  const std::string file = someFile();
  const std::uint64_t before = google.fileCount(ada, true, false);

  bool takesEffect() const { return GetParam().fault.performed || !GetParam().fault.replacesAnswer(); }

  void expectOneFailure(const char* operation, const std::function<void()>& write) {
    google.faults().add(operation, GetParam().fault);
    const auto error = failureOf(write);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), GetParam().domain) << error->what();
    EXPECT_EQ(error->code(), GetParam().code) << error->what();
    EXPECT_EQ(google.journal().count(operation), 1u);
    EXPECT_THAT(impatient->delays(), IsEmpty());
    EXPECT_EQ(google.fileCount(ada, true, false), before - (takesEffect() ? 1 : 0));
  }
};

TEST_P(WriteFaults, FailADeletionThatLeftOnce) {
  expectOneFailure("files.delete", [&] { get(api->deleteFile(file)); });
}

TEST_P(WriteFaults, FailAMoveToTheTrashThatLeftOnce) {
  expectOneFailure("files.update", [&] { get(api->moveToTrash(file)); });
}

INSTANTIATE_TEST_SUITE_P(, WriteFaults, testing::ValuesIn(writeFaults),
                         [](const auto& row) { return row.param.name; });

class Write : public APIFixture {};

TEST_F(Write, AfterTheServerClosedTheKeptConnectionLeavesOnceAndSucceeds) {
  const auto file = someFile();
  const auto before = google.fileCount(ada);
  google.closeIdleConnections();
  get(api->moveToTrash(file));
  google.closeIdleConnections();
  get(api->deleteFile(file));
  EXPECT_EQ(google.journal().count("files.update"), 1u);
  EXPECT_EQ(google.journal().count("files.delete"), 1u);
  EXPECT_EQ(google.fileCount(ada), before - 1);
}

TEST_F(Write, OfAnExpiredTokenIsRepeatedBecauseTheServerRefusedIt) {
  const auto file = someFile();
  google.expireTokens();
  get(api->deleteFile(file));
  EXPECT_EQ(google.journal().count("files.delete"), 2u);
  EXPECT_EQ(session->refreshes(), 1);
}

TEST_F(Write, ExpectsNoLeaveToSendItsBody) {
  get(api->moveToTrash(someFile()));
  const auto sent = google.journal().entries("files.update").front();
  EXPECT_EQ(sent.header("Expect"), "");
  EXPECT_EQ(sent.body, R"({"trashed":true})");
}

TEST_F(Write, ThatWasDoneAlthoughItsAnswerIsLostIsNotFoundWhenAskedForAgain) {
  const auto file = someFile();
  auto lost = Fault::closeWithoutAnswer();
  lost.performed = true;
  google.faults().add("files.delete", lost);
  EXPECT_TRUE(failureOf([&] { get(api->deleteFile(file)); }));
  const auto again = failureOf([&] { get(api->deleteFile(file)); });
  ASSERT_TRUE(again);
  EXPECT_EQ(again->domain(), GTLRErrorObjectDomain);
  EXPECT_EQ(again->code(), 404);
}

}  // namespace
}  // namespace corvane::test
