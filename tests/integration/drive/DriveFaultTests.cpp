#include "DriveFixture.hpp"

namespace corvane::test {
namespace {

using emulator::Fault;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class DriveFault : public DriveFixture {};

TEST_F(DriveFault, ARateLimitThatComesAsA403IsReportedAs429) {
  google.faults().add("files.list", Fault::error(403, "userRateLimitExceeded", "Slow down"));
  const auto outcome = run(listQuery());
  EXPECT_THAT(outcome, FailedWith(GTLRErrorObjectDomain, 429));
  EXPECT_EQ(outcome.error->localizedDescription(), "Slow down");
  EXPECT_THAT(outcome.error->userInfo().at(std::string(GTLRStructuredErrorKey)).description(),
              AllOf(HasSubstr("code: 403"), HasSubstr("userRateLimitExceeded")));
}

TEST_F(DriveFault, AMissingPermissionStaysA403) {
  google.faults().add("files.delete", Fault::error(403, "insufficientFilePermissions", "No"));
  EXPECT_THAT(run(deleteQuery("x")), FailedWith(GTLRErrorObjectDomain, 403));
}

TEST_F(DriveFault, AProxysPageIsAnHTTPErrorWithoutItsMarkup) {
  google.faults().add("about", Fault::html(502, "<html><body>Bad gateway of ACME</body></html>"));
  const auto outcome = run(aboutQuery());
  EXPECT_THAT(outcome, FailedWith(GTLRServiceErrorDomain, 502));
  EXPECT_THAT(outcome.error->localizedDescription(), AllOf(HasSubstr("127.0.0.1"), Not(HasSubstr("ACME"))));
}

TEST_F(DriveFault, ANetworksSignInPageNeverPassesForASuccess) {
  const auto identifier = anyFileID();
  const auto before = google.fileCount(ada);
  google.faults().add("*", Fault::content("<html>Welcome to our wireless network</html>"), 4);
  for (const auto& query : {aboutQuery(), listQuery(), trashQuery(identifier), deleteQuery(identifier)})
    EXPECT_THAT(run(query), FailedWith(NSURLErrorDomain, -1017));
  EXPECT_EQ(google.fileCount(ada), before);
}

TEST_F(DriveFault, AnEmptyAnswerWhereAListIsDueIsASuccessWithoutAnObject) {
  google.faults().add("files.list", Fault::empty(204));
  const auto outcome = run(listQuery());
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.object.index(), 0u);
}

TEST_F(DriveFault, JSONThatIsCutOffInAWholeBodyShowsNoHalfPage) {
  google.faults().add("files.list",
                      Fault::content(R"({"files":[{"id":"1","name":"n"},{"id":)", "application/json"));
  EXPECT_THAT(run(listQuery()), FailedWith(NSURLErrorDomain, -1017));
}

TEST_F(DriveFault, AConnectionLostInTheBodyShowsNoHalfPage) {
  google.faults().add("files.list", Fault::closeAfterBodyBytes(5'000));
  EXPECT_THAT(run(listQuery()), FailedWith(NSURLErrorDomain, -1005));
}

TEST_F(DriveFault, ARedirectionIsNotFollowed) {
  google.faults().add("about", Fault::redirect("http://127.0.0.1:9/elsewhere"));
  EXPECT_THAT(run(aboutQuery()), FailedWith(GTLRServiceErrorDomain, 302));
  EXPECT_EQ(google.journal().count(), 1u);
}

TEST_F(DriveFault, A401ForEverEndsAfterOneRepetition) {
  google.faults().add("files.delete", Fault::unauthorized(), 2);
  EXPECT_THAT(run(deleteQuery("x")), FailedWith(GTLRErrorObjectDomain, 401));
  EXPECT_EQ(google.journal().count("files.delete"), 2u);
  EXPECT_EQ(session->refreshes(), 1);
}

TEST_F(DriveFault, AWriteWhoseAnswerIsLostLeavesOnce) {
  const auto identifier = anyFileID();
  const auto before = google.fileCount(ada);
  for (const auto* operation : {"files.update", "files.delete"}) {
    Fault lost;
    lost.performed = true;
    lost.closeInsteadOfAnswer = true;
    google.faults().add(operation, lost);
  }
  EXPECT_THAT(run(trashQuery(identifier)), FailedWith(NSURLErrorDomain, -1005));
  EXPECT_THAT(run(deleteQuery(identifier)), FailedWith(NSURLErrorDomain, -1005));
  EXPECT_EQ(google.journal().count("files.update"), 1u);
  EXPECT_EQ(google.journal().count("files.delete"), 1u);
  EXPECT_EQ(google.fileCount(ada), before - 1);
}

}  // namespace
}  // namespace corvane::test
