#include "CredentialsFile.hpp"
#include "FreedMemory.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>

namespace corvane::cli::test {
namespace {

using corvane::test::FreedMemory;
using testing::IsEmpty;

TEST(CredentialsFile, LeavesNoSecretInFreedMemory) {
  constexpr std::string_view document =
      R"({"installed":{"client_id":"small-client","client_secret":"TWFyZ2luYWxpYXR3ZW50eXR3b2E3ZDE0YzkyZjU2MGJl"}})";
  FreedMemory::plant("the file's client secret", "TWFyZ2luYWxpYXR3ZW50eXR3b2E3ZDE0YzkyZjU2MGJl");
  (void)FreedMemory::findings();
  credentialsFrom(dataFromText(document), "client.json");
  EXPECT_THAT(FreedMemory::findings(), IsEmpty());
}

}  // namespace
}  // namespace corvane::cli::test
