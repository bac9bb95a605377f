#include "oauth/PeerUser.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <optional>
#include <string>

namespace corvane::test {
namespace {

// As proc(5) shows it; 0x1F90 is 8080, 0xC001 is 49153.
const std::string table =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n"
    "   0: 0100007F:1F90 00000000:0000 0A 00000000:00000000 00:00000000 00000000  1000        0 1 1\n"
    "   1: 0100007F:1F90 0100007F:C001 01 00000000:00000000 00:00000000 00000000  1000        0 2 1\n"
    "   2: 0100007F:C001 0100007F:1F90 01 00000000:00000000 00:00000000 00000000  1001        0 3 1\n"
    "  13: 0000000000000000FFFF00000100007F:C002 0000000000000000FFFF00000100007F:1F90 01 "
    "00000000:00000000 00:00000000 00000000  1002        0 4 1\n";

TEST(PeerUser, IsTheOwnerOfTheOtherEnd) {
  EXPECT_EQ(peerUserIn(table, {8080, 49153}), 1001u);
  EXPECT_EQ(peerUserIn(table, {49153, 8080}), 1000u);
  EXPECT_EQ(peerUserIn(table, {8080, 49154}), 1002u);
}

TEST(PeerUser, IsUnknownWhenTheTableDoesNotTell) {
  EXPECT_EQ(peerUserIn(table, {8080, 50000}), std::nullopt);
  for (const auto* text :
       {"", "\n\n", "nonsense", " 0: 0100007F:C001 0100007F:1F90", " 0: :C001 :1F90 1 2 3 4 x"})
    EXPECT_EQ(peerUserIn(text, {8080, 49153}), std::nullopt) << text;
}

TEST(PeerUser, OurselvesAndRootAndUnknownOnesAreNoOthers) {
  EXPECT_FALSE(isAnotherUser(std::nullopt));
  EXPECT_FALSE(isAnotherUser(::getuid()));
  EXPECT_FALSE(isAnotherUser(0));
  EXPECT_FALSE(isAnotherUser(65534));
  EXPECT_TRUE(isAnotherUser(::getuid() + 4321));
}

}  // namespace
}  // namespace corvane::test
