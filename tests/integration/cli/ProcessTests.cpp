#include "ProgramTest.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

namespace corvane::cli::test {
namespace {

using testing::HasSubstr;

/// The program as a user without root's rights, who owns the home.
class AsUser : public SignedInProgramTest {
 protected:
  static constexpr uid_t otherUser = 65534;

  void SetUp() override {
    if (::geteuid() != 0) return;
    giveHomeAway();
    if (Program(asUser({"--version"})).finish().exitCode != 0)
      GTEST_SKIP() << "another user cannot start the program here";
  }

  ProgramSetup asUser(std::vector<std::string> arguments) const {
    auto program = setup(std::move(arguments));
    if (::geteuid() == 0) {
      const auto user = std::to_string(otherUser);
      program.command.insert(program.command.begin(), {"/usr/bin/setpriv", "--reuid=" + user,
                                                       "--regid=" + user, "--clear-groups", "--"});
    }
    return program;
  }

  void giveHomeAway() const {
    give(home.path());
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
      give(entry.path());
  }

 private:
  static void give(const std::filesystem::path& path) {
    ASSERT_EQ(::lchown(path.c_str(), otherUser, otherUser), 0) << path;
  }
};

TEST_F(AsUser, MemoryIsClosedToTheUsersOtherPrograms) {
  const std::string pipe = home.path() / "client.fifo";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  if (::geteuid() == 0) giveHomeAway();
  Program program(asUser({"--credentials", pipe, "sign-in", "--no-browser"}));
  const int writer = ::open(pipe.c_str(), O_WRONLY | O_CLOEXEC);  // once the program reads
  struct stat memory {};
  ASSERT_EQ(::stat(("/proc/" + std::to_string(program.process()) + "/mem").c_str(), &memory), 0);
  EXPECT_EQ(memory.st_uid, 0u);
  ::close(writer);
  EXPECT_EQ(program.finish().exitCode, 2);
}

TEST_F(AsUser, CredentialsMayComeFromAProcessSubstitution) {
  auto program = asUser({"sign-in"});
  const auto own = std::find(program.command.begin(), program.command.end(), CORVANE_PROGRAM);
  const auto shell = {"/bin/bash", "-c", "exec \"$@\" --credentials <(printf '{}')", "bash"};
  program.command.insert(own, shell.begin(), shell.end());
  const auto result = Program(program).finish();
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.errors, HasSubstr("has no \"client_id\""));
}

TEST_F(AsUser, WhatStoresNothingWorksWhereNothingCanBeStored) {
  const auto keychainFolder = home.path() / "corvane";
  ASSERT_EQ(::chmod(keychainFolder.c_str(), 0500), 0);
  for (const char* command : {"accounts", "status", "about", "ls"}) {
    const auto result = Program(asUser({command})).finish();
    EXPECT_EQ(result.exitCode, 0) << command << ": " << result.errors;
    EXPECT_THAT(result.output, testing::Not(testing::IsEmpty())) << command;
  }
  EXPECT_EQ(Program(asUser({"sign-out", "ada@example.com"})).finish().exitCode, 7);
  ASSERT_EQ(::chmod(keychainFolder.c_str(), 0700), 0);
}

}  // namespace
}  // namespace corvane::cli::test
