#include "FlowFixture.hpp"

#include <string>

namespace corvane::test {
namespace {

using emulator::Fault;

/// One step of the whole flow, made to fail, and what the user is told.
struct FailingStep {
  std::string name;
  std::string operation;
  Fault fault;
  std::size_t passBefore;  // answers of that operation that go well first
  ErrorKind kind;
  bool signedInAfterwards;
};

class FailingStepTest : public FlowTest, public ::testing::WithParamInterface<FailingStep> {
 protected:
  void wholeFlow() {
    auto factory = makeFactory();
    const auto drive = factory.makeAPI(signIn(factory));
    get(drive->getAbout());
    const auto files = everyFile(*drive);
    get(drive->moveToTrash(files[0].id));
    get(drive->deleteFile(files[1].id));
  }

  std::uint64_t storedAccounts() {
    auto factory = makeFactory();
    std::uint64_t count = 0;
    const auto error = failureOf([&] { count = get(factory.makeAccountProvider()->getAccounts()).size(); });
    EXPECT_TRUE(!error || errorKind(*error) == ErrorKind::notSignedIn);
    return count;
  }
};

TEST_P(FailingStepTest, EndsTheFlowWithItsErrorAndKeepsTheRest) {
  const auto& step = GetParam();
  if (step.passBefore > 0) google.faults().add(step.operation, Fault{}, step.passBefore);
  google.faults().add(step.operation, step.fault);

  const auto error = failureOf([this] { wholeFlow(); });
  ASSERT_TRUE(error) << "the flow went well";
  EXPECT_EQ(errorKind(*error), step.kind) << error->what();
  EXPECT_EQ(storedAccounts(), step.signedInAfterwards ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Flow, FailingStepTest,
    ::testing::Values(
        FailingStep{"TheTokenEndpointRefuses", "token",
                    Fault{.status = 400, .body = R"({"error":"invalid_grant"})"}, 0, ErrorKind::notSignedIn,
                    false},
        FailingStep{"TheTokenEndpointBreaks", "token", Fault::html(503), 0, ErrorKind::temporary, false},
        FailingStep{"TheProfileIsForbidden", "about", Fault::error(403, "insufficientPermissions"), 0,
                    ErrorKind::permission, true},
        FailingStep{"TheProfileIsASignInPage", "about", Fault::content("<html>Welcome to our hotel</html>"),
                    0, ErrorKind::invalidResponse, true},
        FailingStep{"TheFirstPageIsNoList", "files.list", Fault::content("{}", "application/json"), 0,
                    ErrorKind::invalidResponse, true},
        FailingStep{"TheSecondPageIsGone", "files.list", Fault::error(404, "notFound"), 1,
                    ErrorKind::notFound, true},
        FailingStep{"TheThirdPageIsTruncated", "files.list",
                    Fault::content("{\"files\": [", "application/json"), 2, ErrorKind::invalidResponse, true},
        FailingStep{"TrashingIsForbidden", "files.update", Fault::error(403, "insufficientFilePermissions"),
                    0, ErrorKind::permission, true},
        FailingStep{"TrashingMeetsABusyServer", "files.update", Fault::error(503, "backendError"), 0,
                    ErrorKind::temporary, true},
        FailingStep{"DeletingLosesItsAnswer", "files.delete", Fault::closeWithoutAnswer(), 0,
                    ErrorKind::temporary, true},
        FailingStep{"DeletingFindsNothing", "files.delete", Fault::error(404, "notFound"), 0,
                    ErrorKind::notFound, true}),
    [](const auto& step) { return step.param.name; });

}  // namespace
}  // namespace corvane::test
