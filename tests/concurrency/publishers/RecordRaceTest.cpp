#include <Corvane/About.hpp>
#include <Corvane/File.hpp>

#include <gtest/gtest.h>

#include <latch>
#include <string>
#include <thread>

using namespace corvane;

// Each test is a process of its own, so this is the first to read a field list.
TEST(APIFields, ReadFirstFromTwoThreadsAtOnceAreOneText) {
  const std::string* about[2] = {};
  const std::string* file[2] = {};
  std::latch start(2);
  const auto read = [&](int who) {
    start.arrive_and_wait();
    about[who] = &About::apiFields();
    file[who] = &File::apiFields();
  };
  std::thread other(read, 1);
  read(0);
  other.join();
  EXPECT_EQ(about[0], about[1]) << "built twice";
  EXPECT_EQ(file[0], file[1]) << "built twice";
  EXPECT_EQ(*about[0],
            "storageQuota(limit,usage,usageInDrive),appInstalled,maxUploadSize,"
            "user(displayName,emailAddress,photoLink)");
}
