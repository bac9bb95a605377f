#include "GoogleDriveAuthorizationProvider/SuccessURL.hpp"

#include <gtest/gtest.h>

using namespace corvane;

TEST(SuccessURL, IsTheUsersDrive) {
  EXPECT_EQ(urlOfConstant(successURLString).absoluteString(), "https://drive.google.com/");
}

TEST(SuccessURLDeathTest, AConstantThatDoesNotParseStopsTheProgram) {
  EXPECT_DEATH(urlOfConstant("not a url"), "not a URL: not a url");
}
