#include "LoopbackURL.hpp"

#include <gtest/gtest.h>

namespace corvane::cli::test {
namespace {

TEST(LoopbackURL, LoopbackAddressesAreThisComputer) {
  for (const char* url :
       {"http://127.0.0.1:8080", "http://127.0.0.1", "http://127.9.8.7/", "http://localhost:1/a/b",
        "https://localhost", "http://[::1]:99", "https://[::1]/"})
    EXPECT_TRUE(isLoopbackURL(url)) << url;
}

TEST(LoopbackURL, OtherHostsAreElsewhere) {
  for (const char* url : {"https://www.googleapis.com", "http://10.0.0.1", "https://128.0.0.1",
                          "https://[::2]:1", "https://0.0.0.0", "https://localhost.example.com",
                          "https://127.0.0.1.example.com", "https://127.1"})
    EXPECT_FALSE(isLoopbackURL(url)) << url;
}

TEST(LoopbackURL, HostsThatTwoReadersSeeDifferentlyAreElsewhere) {
  for (const char* url :
       {"", "127.0.0.1", "//127.0.0.1", "ftp://127.0.0.1", "http:/127.0.0.1",
        "http://127.0.0.1@example.com", "http://127.0.0.1:80@example.com",
        "http://example.com#@127.0.0.1", "http://127.0.0.1\\@example.com",
        "http://127.0.0.1\\.example.com", "http://127.0.0.1?@example.com",
        "http://127.0.0.1#example.com", "http://127.0.0.1:", "http://127.0.0.1:8x",
        "http://127.0.0.1/@example.com", "http://127.0.0.1 .example.com",
        "http://[::1].example.com", "http://%6cocalhost"})
    EXPECT_FALSE(isLoopbackURL(url)) << url;
}

}  // namespace
}  // namespace corvane::cli::test
