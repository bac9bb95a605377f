#include <Corvane/CorvaneFactory.hpp>

#include <gtest/gtest.h>

#include "support/FakePlatform.hpp"

using namespace corvane;
using namespace corvane::test;

TEST(CorvaneFactory, TouchesNothingAtConstruction) {
  FakePlatform fake;
  const CorvaneFactory factory(
      std::nullopt, "", "", [] { return std::nullopt; }, fake.platform());
  EXPECT_TRUE(fake.keychain->calls().empty());
  EXPECT_TRUE(fake.driveServices.empty());
}
