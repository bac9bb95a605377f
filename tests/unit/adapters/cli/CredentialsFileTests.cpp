#include "CredentialsFile.hpp"
#include "Failure.hpp"
#include "Samples.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <future>

namespace corvane::cli::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* moduleForm = R"({"clientSecret":"GOCSPX-secret-of-the-client","client_id":"id.apps"})";

std::string rewritten(const std::string& document) {
  return std::string(textView(credentialsFrom(dataFromText(document), "client.json")));
}

std::string refusal(const std::string& document) {
  try {
    rewritten(document);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.exitCode, ExitCode::usage);
    EXPECT_THAT(failure.remedy, HasSubstr("--credentials FILE"));
    return failure.headline;
  }
  return "accepted";
}

TEST(CredentialsFile, ModulesOwnFormIsTakenAsItIs) {
  EXPECT_EQ(rewritten(moduleForm), moduleForm);
}

TEST(CredentialsFile, ConsolesDownloadIsRewrittenToTheModulesForm) {
  EXPECT_EQ(rewritten(R"({"installed":{"client_id":"id.apps","project_id":"p",
                          "auth_uri":"https://accounts.google.com/o/oauth2/auth",
                          "client_secret":"GOCSPX-secret-of-the-client","redirect_uris":["http://localhost"]}})"),
            moduleForm);
}

TEST(CredentialsFile, TextsThatNeedEscapingSurvive) {
  EXPECT_EQ(rewritten(R"({"client_id":"a\"b","clientSecret":"\u00fc\\"})"),
            "{\"clientSecret\":\"\u00fc\\\\\",\"client_id\":\"a\\\"b\"}");
}

TEST(CredentialsFile, AByteOrderMarkIsIgnored) {
  EXPECT_EQ(rewritten(std::string("\xEF\xBB\xBF") + moduleForm), moduleForm);
}

TEST(CredentialsFile, MoreThanOneDocumentIsNone) {
  const std::string form = moduleForm;
  for (const std::string more : {"{}", ",{}", ",\"", "]", ",\"\"]", "]["})
    EXPECT_EQ(refusal(form + more), "The credentials file client.json is not JSON.") << more;
}

TEST(CredentialsFile, WhatIsWrongIsNamed) {
  EXPECT_EQ(refusal(""), "The credentials file client.json is not JSON.");
  EXPECT_EQ(refusal("{\"client_id\":"), "The credentials file client.json is not JSON.");
  EXPECT_EQ(refusal("[]"), "The credentials file client.json holds no JSON object.");
  EXPECT_EQ(refusal("{}"), "The credentials file client.json has no \"client_id\".");
  EXPECT_EQ(refusal(R"({"client_id":"a"})"), "The credentials file client.json has no \"clientSecret\".");
  EXPECT_EQ(refusal(R"({"client_id":7,"clientSecret":"s"})"),
            "The credentials file client.json has a \"client_id\" that is not a text.");
  EXPECT_EQ(refusal(R"({"client_id":"","clientSecret":"s"})"),
            "The credentials file client.json has an empty \"client_id\".");
  EXPECT_EQ(refusal(R"({"installed":[]})"),
            "The credentials file client.json has an \"installed\" that is not an object.");
  EXPECT_EQ(refusal(R"({"installed":{"client_id":"a"}})"),
            "The credentials file client.json has no \"client_secret\".");
}

TEST(CredentialsFile, ClientsThatCannotSignInHereAreToldApart) {
  EXPECT_THAT(refusal(R"({"web":{"client_id":"a","client_secret":"s"}})"), HasSubstr("web application"));
  EXPECT_THAT(refusal(R"({"type":"service_account","client_id":"a"})"), HasSubstr("service account"));
}

TEST(CredentialsFile, SecretNeverAppearsInAnError) {
  for (const char* document :
       {R"({"client_id":"a","clientSecret":["hush"]})", R"({"client_id":"a","clientSecret":"hush")",
        R"({"installed":{"client_secret":"hush"}})", R"({"client_secret":"hush"})"})
    EXPECT_THAT(refusal(document), AllOf(HasSubstr("client.json"), Not(HasSubstr("hush"))));
}

std::string refusalOfFile(const std::string& path) {
  try {
    readCredentialsFile(path, -1);
  } catch (const Failure& failure) {
    return failure.headline;
  }
  return "accepted";
}

TEST(CredentialsFile, FileIsRead) {
  const TemporaryFolder folder;
  EXPECT_EQ(textView(readCredentialsFile(folder.write("client.json", moduleForm), -1)), moduleForm);
}

/// An eventfd that is readable, as after Ctrl-C.
class PendingInterrupt {
 public:
  ~PendingInterrupt() { ::close(descriptor); }
  const int descriptor = ::eventfd(1, EFD_CLOEXEC);
};

class CredentialsPipe : public testing::Test {
 protected:
  CredentialsPipe() {
    if (::mkfifo(path.c_str(), 0600) != 0) std::abort();
  }
  /// Opens the pipe for writing, once it is open for reading.
  void write(const std::string& text) const { std::ofstream(path) << text; }

  const TemporaryFolder folder;
  const std::string path = folder.path() / "client.fifo";
};

TEST_F(CredentialsPipe, InterruptEndsTheWaitForAWriter) {
  const PendingInterrupt interrupt;
  EXPECT_THROW(readCredentialsFile(path, interrupt.descriptor), Interrupted);
}

TEST_F(CredentialsPipe, InterruptEndsTheWaitForASlowWriter) {
  const int keepsOpen = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::write(keepsOpen, "{", 1), 1);
  const PendingInterrupt interrupt;
  EXPECT_THROW(readCredentialsFile(path, interrupt.descriptor), Interrupted);
  ::close(keepsOpen);
}

TEST_F(CredentialsPipe, IsReadOnceItsWriterComes) {
  auto reading = std::async(std::launch::async, [this] { return readCredentialsFile(path, -1); });
  write(moduleForm);
  EXPECT_EQ(textView(reading.get()), moduleForm);
}

TEST_F(CredentialsPipe, ThatIsClosedUnwrittenIsRefused) {
  auto reading = std::async(std::launch::async, [this] { return refusalOfFile(path); });
  write("");
  EXPECT_THAT(reading.get(), HasSubstr("is not JSON"));
}

/// As a shell passes `<(command)`.
std::string readThroughAnAnonymousPipe(const std::string& text) {
  int ends[2];
  if (::pipe(ends) != 0 || ::write(ends[1], text.data(), text.size()) < 0) std::abort();
  ::close(ends[1]);  // the command has ended
  const std::string outcome = refusalOfFile("/dev/fd/" + std::to_string(ends[0]));
  ::close(ends[0]);
  return outcome;
}

TEST(CredentialsFile, ProcessSubstitutionIsReadToItsEnd) {
  EXPECT_EQ(readThroughAnAnonymousPipe(moduleForm), "accepted");
  EXPECT_THAT(readThroughAnAnonymousPipe(""), HasSubstr("is not JSON"));
}

TEST(CredentialsFile, MissingFileFolderAndOversizedFileAreRefusedByName) {
  const TemporaryFolder folder;
  const std::string missing = folder.path() / "nothing.json";
  EXPECT_EQ(refusalOfFile(missing),
            "The credentials file " + missing + " cannot be opened: No such file or directory.");
  EXPECT_THAT(refusalOfFile(folder.path()), HasSubstr("is a folder"));
  EXPECT_THAT(refusalOfFile(folder.write("large.json", std::string(70'000, ' '))), HasSubstr("is too large"));
}

}  // namespace
}  // namespace corvane::cli::test
