#include "present/ErrorReport.hpp"

#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

Failure sample() {
  Failure failure;
  failure.exitCode = ExitCode::permission;
  failure.kind = "permission";
  failure.headline = "Could not delete 1AbC.";
  failure.why = "The user does not have sufficient permissions for this file.";
  failure.remedy = "Ask the file's owner.";
  failure.domain = "com.google.GTLRErrorObjectDomain";
  failure.code = 403;
  failure.message = "Insufficient permissions.";
  failure.fileID = "1AbC";
  return failure;
}

TEST(ErrorReport, PeopleGetWhatWhyAndWhatToDoOnThreeLines) {
  EXPECT_EQ(reportForPeople(sample(), Style(false)),
            "corvane: Could not delete 1AbC.\n"
            "  Why: The user does not have sufficient permissions for this file.\n"
            "  What to do: Ask the file's owner.\n");
}

TEST(ErrorReport, UnknownPartsAreLeftOut) {
  Failure failure;
  failure.headline = "It failed.";
  EXPECT_EQ(reportForPeople(failure, Style(false)), "corvane: It failed.\n");
  EXPECT_EQ(reportInJSON(failure),
            R"({"error":{"kind":"other","domain":"CorvaneCLI","code":0,"message":"It failed."}})"
            "\n");
}

TEST(ErrorReport, ProgramsGetOneJSONObjectOnALine) {
  EXPECT_EQ(reportInJSON(sample()),
            R"({"error":{"kind":"permission","domain":"com.google.GTLRErrorObjectDomain","code":403,)"
            R"("message":"Insufficient permissions.",)"
            R"("failureReason":"The user does not have sufficient permissions for this file.",)"
            R"("recoverySuggestion":"Ask the file's owner.","id":"1AbC"}})"
            "\n");
}

TEST(ErrorReport, ProgramsAreNotToldTheSameTwice) {
  Failure failure = sample();
  failure.why = failure.message;
  EXPECT_EQ(reportInJSON(failure).find("failureReason"), std::string::npos);
}

TEST(ErrorReport, HostileServerTextStaysOneHarmlessLine) {
  Failure failure = sample();
  failure.why = "bad\n\x1b[2Jname \u202Egnp";
  EXPECT_NE(reportForPeople(failure, Style(false)).find("  Why: bad\\n\\x1b[2Jname \\u{202e}gnp\n"),
            std::string::npos);
}

}  // namespace
}  // namespace corvane::cli::test
