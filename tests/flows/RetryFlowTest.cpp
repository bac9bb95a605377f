#include "FlowFixture.hpp"

#include <gmock/gmock.h>

#include <chrono>

namespace corvane::test {
namespace {

using emulator::Fault;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using namespace std::chrono_literals;

class RetryFlowTest : public FlowTest {
 protected:
  std::shared_ptr<GoogleDriveAPIType> signedInDrive() {
    auto factory = makeFactory();
    return factory.makeAPI(signIn(factory));
  }
};

TEST_F(RetryFlowTest, BusyServerIsAskedAgainAfterASecond) {
  const auto drive = signedInDrive();
  google.faults().add("files.list", Fault::error(503, "backendError"));
  EXPECT_EQ(get(drive->getFilesPage(std::nullopt)).files().size(), 500u);
  EXPECT_THAT(impatient->delays(), ElementsAre(1s));
}

TEST_F(RetryFlowTest, ServerThatStaysBusyIsAskedFiveTimesAndNamesAccountAndPage) {
  const auto drive = signedInDrive();
  google.faults().add("files.list", Fault::error(503, "backendError"), 5);
  const auto error = failureOf([&] { get(drive->getFilesPage(std::nullopt)); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), "GoogleDriveAPIRequestError");
  EXPECT_EQ(error->code(), 503);
  EXPECT_THAT(error->what(), HasSubstr("account=ada@example.com, pageToken=<initial>, "));
  EXPECT_THAT(impatient->delays(), ElementsAre(1s, 2s, 4s, 8s));
  EXPECT_EQ(google.journal().count("files.list"), 5u);
}

TEST_F(RetryFlowTest, RateLimitSaidWith403IsWaitedOut) {
  const auto drive = signedInDrive();
  google.faults().add("about", Fault::error(403, "userRateLimitExceeded"));
  EXPECT_FALSE(failureOf([&] { get(drive->getAbout()); }));
  EXPECT_THAT(impatient->delays(), ElementsAre(1s));
}

TEST_F(RetryFlowTest, LostConnectionIsTriedAgain) {
  const auto drive = signedInDrive();
  google.faults().add("files.list", Fault::resetAfterBytes(2'000));
  EXPECT_EQ(get(drive->getFilesPage(std::nullopt)).files().size(), 500u);
  EXPECT_THAT(impatient->delays(), ElementsAre(1s));
}

TEST_F(RetryFlowTest, TokenEndpointThatIsBusyDuringARefreshIsAskedAgain) {
  const auto drive = signedInDrive();
  google.expireTokens();
  google.journal().clear();
  google.faults().add("token", Fault::html(503));
  EXPECT_EQ(get(drive->getFilesPage(std::nullopt)).files().size(), 500u);
  EXPECT_THAT(impatient->delays(), ElementsAre(1s));
  EXPECT_EQ(google.journal().count("token"), 2u);
}

TEST_F(RetryFlowTest, PageOfABusyServerMayBeDamaged) {
  const auto drive = signedInDrive();
  auto damaged = Fault::html(503);
  damaged.corruptGzip = true;
  google.faults().add("files.list", damaged);
  EXPECT_EQ(get(drive->getFilesPage(std::nullopt)).files().size(), 500u);
  EXPECT_THAT(impatient->delays(), ElementsAre(1s));
}

TEST_F(RetryFlowTest, WritesLeaveOnceWhateverHappens) {
  const auto drive = signedInDrive();
  const auto id = google.fileID("ada@example.com", 0);
  google.faults().add("files.delete", Fault::error(503, "backendError"));
  google.faults().add("files.update", Fault::closeWithoutAnswer());
  EXPECT_TRUE(failureOf([&] { get(drive->deleteFile(id)); }));
  EXPECT_TRUE(failureOf([&] { get(drive->moveToTrash(id)); }));
  EXPECT_EQ(google.journal().count("files.delete"), 1u);
  EXPECT_EQ(google.journal().count("files.update"), 1u);
  EXPECT_TRUE(impatient->delays().empty());
}

}  // namespace
}  // namespace corvane::test
