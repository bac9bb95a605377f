#pragma once

#include "ScriptedServer.hpp"

#include <gtest/gtest.h>

namespace corvane::test {

/// A script that says when a request has come, sends a beginning, and waits for the client to leave.
class Hanging {
 public:
  explicit Hanging(std::string beginning = {}) : beginning_(std::move(beginning)) {}

  ScriptedServer::Script script() {
    return [this](ScriptedConnection& connection) {
      connection.readRequest();
      connection.send(beginning_);
      step(arrived_);
      connection.waitForEnd();
      step(left_);
    };
  }
  void waitForArrival(int count = 1) { wait(arrived_, count); }
  void waitForDeparture(int count = 1) { wait(left_, count); }

 private:
  void step(int& counter) {
    const std::lock_guard lock(mutex_);
    ++counter;
    changed_.notify_all();
  }
  void wait(const int& counter, int count) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), [&] { return counter >= count; }));
  }

  const std::string beginning_;
  std::mutex mutex_;
  std::condition_variable changed_;
  int arrived_ = 0;
  int left_ = 0;
};

}  // namespace corvane::test
