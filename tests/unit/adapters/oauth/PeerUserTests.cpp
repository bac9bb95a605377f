#include "oauth/PeerUser.hpp"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>

namespace corvane::test {
namespace {

// As proc(5) shows it on a little-endian machine; 0x1F90 is 8080, 0xC001 is 49153.
const std::string heading =
    "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";

std::string row(const std::string& local, const std::string& remote, const std::string& state,
                const std::string& user, const std::string& inode) {
  return "   7: " + local + " " + remote + " " + state + " 00000000:00000000 00:00000000 00000000  " +
         user + "        0 " + inode + " 1\n";
}

const SocketEnds ends{"0100007F:1F90", "0100007F:C001"};
const std::string own = row(ends.own, ends.peer, "01", "1000", "21");
const std::string peer = row(ends.peer, ends.own, "01", "1001", "22");

TEST(PeerUser, IsTheOwnerOfTheOtherEnd) {
  EXPECT_EQ(peerUserIn(heading + own + peer, ends), 1001u);
  EXPECT_EQ(peerUserIn(heading + peer + own, {ends.peer, ends.own}), 1000u);
}

TEST(PeerUser, IsFoundBehindASocketOfIPv6) {
  const std::string mapped = "0000000000000000FFFF0000";
  EXPECT_EQ(peerUserIn(heading + row(mapped + ends.peer, mapped + ends.own, "01", "1002", "5"), ends),
            1002u);
}

TEST(PeerUser, IsNotThatOfAnotherAddressWithTheSamePorts) {
  const auto others = row("0201007F:C001", ends.own, "01", "0", "3") +
                      row(ends.peer, "0200007F:1F90", "01", "0", "4");
  EXPECT_EQ(peerUserIn(heading + others, ends), std::nullopt);
  EXPECT_EQ(peerUserIn(heading + others + peer, ends), 1001u);
}

TEST(PeerUser, IsNobodyOnceTheSocketIsClosed) {
  for (const auto* state : {"04", "05", "06", "07", "08", "09", "0B"})
    EXPECT_EQ(peerUserIn(heading + row(ends.peer, ends.own, state, "0", "9"), ends), std::nullopt)
        << state;
  EXPECT_EQ(peerUserIn(heading + row(ends.peer, ends.own, "01", "0", "0"), ends), std::nullopt);
}

TEST(PeerUser, IsUnknownWhenTheTableDoesNotTell) {
  for (const auto* text : {"", "\n\n", "nonsense", " 0: 0100007F:C001 0100007F:1F90",
                           " 0: 0100007F:C001 0100007F:1F90 01 2 3 4 x 5 6"})
    EXPECT_EQ(peerUserIn(text, ends), std::nullopt) << text;
}

TEST(PeerUser, EndsAreWrittenAsTheKernelWritesThem) {
  const std::array<unsigned char, 4> loopback{127, 0, 0, 1};
  EXPECT_EQ(socketEnd(loopback, 8080), ends.own);
  std::array<unsigned char, 16> loopback6{};
  loopback6.back() = 1;
  EXPECT_EQ(socketEnd(loopback6, 8080), "00000000000000000000000001000000:1F90");
}

TEST(PeerUser, WithoutAnOpenSocketAtTheOtherEndIsAStranger) {
  EXPECT_TRUE(isStranger({"0100007F:0001", "0100007F:0002"}));
}

TEST(PeerUser, EveryUserIsSeenOnlyWithoutAUserNamespace) {
  EXPECT_TRUE(seesEveryUser("         0          0 4294967295\n"));
  EXPECT_FALSE(seesEveryUser("         0     100000      65536\n"));
  EXPECT_FALSE(seesEveryUser("0 1000 1\n1 100000 65536\n"));
  EXPECT_TRUE(seesEveryUser("0 0 1\n1 1 4294967294\n"));
  EXPECT_FALSE(seesEveryUser(""));
}

}  // namespace
}  // namespace corvane::test
