#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

#include "support/ForkedChild.hpp"

#include "present/Terminal.hpp"

namespace corvane::cli::test {
namespace {

using Pipe = std::array<int, 2>;

void fill(int descriptor) {
  ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
  const std::string page(4096, 'x');
  while (::write(descriptor, page.data(), page.size()) > 0) {
  }
  ::fcntl(descriptor, F_SETFL, 0);
}

/// Whether printing to a pipe as standard error comes to an end.
bool printed(const Pipe& errors, const Pipe& interrupt) {
  return corvane::test::holdsInForkedChild([&] {
    ::dup2(errors[1], STDERR_FILENO);
    printToStandardError(std::string(100'000, 'y'), interrupt[0]);
    return true;
  });
}

class StuckErrors : public testing::Test {
 protected:
  StuckErrors() {
    ok_ = ::pipe2(errors.data(), O_CLOEXEC) == 0 && ::pipe2(interrupt.data(), O_CLOEXEC) == 0;
  }
  ~StuckErrors() override {
    for (const int end : {errors[0], errors[1], interrupt[0], interrupt[1]}) ::close(end);
  }
  void SetUp() override { ASSERT_TRUE(ok_); }
  void press() const { ASSERT_EQ(::write(interrupt[1], "x", 1), 1); }

  Pipe errors{};
  Pipe interrupt{};

 private:
  bool ok_ = false;
};

TEST_F(StuckErrors, AreGivenUpOnceTheUserInterrupts) {
  fill(errors[1]);
  press();
  EXPECT_TRUE(printed(errors, interrupt));
}

TEST_F(StuckErrors, AreGivenUpAlsoHalfwayThroughAText) {
  press();
  EXPECT_TRUE(printed(errors, interrupt));
  std::string told(200'000, 0);
  const auto count = ::read(errors[0], told.data(), told.size());
  EXPECT_GT(count, 0) << "what still fits is told, also after the interrupt";
}

}  // namespace
}  // namespace corvane::cli::test
