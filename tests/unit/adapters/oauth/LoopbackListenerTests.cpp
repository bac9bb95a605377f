#include "DescriptorLimit.hpp"
#include "RawClient.hpp"
#include "oauth/LoopbackListener.hpp"
#include "oauth/SignInPages.hpp"
#include "support/ErrorMatchers.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <net/if.h>
#include <pthread.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

std::atomic<int> flagsOfAccept{0};
std::atomic<int> failuresOfAccept{0};

int noted(int flags, int descriptor) {
  flagsOfAccept = flags;
  if (descriptor < 0 && errno != EAGAIN) {
    ++failuresOfAccept;
    failuresOfAccept.notify_all();
  }
  return descriptor;
}

}  // namespace

// Both ways to take a connection, watched.
extern "C" int accept4(int listener, sockaddr* address, socklen_t* size, int flags) {
  return noted(flags, static_cast<int>(::syscall(SYS_accept4, listener, address, size, flags)));
}
extern "C" int accept(int listener, sockaddr* address, socklen_t* size) {
  return noted(0, static_cast<int>(::syscall(SYS_accept4, listener, address, size, 0)));
}

namespace corvane::test {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

std::string answerWith(std::string_view text) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" + std::string(text);
}

/// Answers "/" with "hello" and holds "/hold".
std::optional<std::string> echo(const LoopbackRequest& request) {
  if (request.head.substr(0, 9) == "GET /hold") return std::nullopt;
  return answerWith("hello");
}

LoopbackLimits impatient() {
  LoopbackLimits limits;
  limits.connectionTime = std::chrono::milliseconds{30};
  return limits;
}

TEST(LoopbackListener, ItListensOnANumberedLoopbackAddressAndAFreePort) {
  const LoopbackListener first;
  const LoopbackListener second;
  EXPECT_THAT(first.host(), ::testing::MatchesRegex("127\\.0\\.0\\.1:[0-9]+"));
  EXPECT_NE(first.host(), second.host());
}

TEST(LoopbackListener, ConnectionsAreTakenBeforeItIsStarted) {
  LoopbackListener listener;
  const RawClient client(listener.host());
  ASSERT_TRUE(client.isConnected());
  client.send(getRequest(listener.host(), "/"));
  listener.start(echo);
  EXPECT_THAT(client.receiveAll(), HasSubstr("hello"));
}

TEST(LoopbackListener, ItAnswersAsOftenAsItIsAsked) {
  LoopbackListener listener;
  listener.start(echo);
  for (int i = 0; i < 5; ++i)
    EXPECT_THAT(roundTrip(listener.host(), getRequest(listener.host(), "/")), HasSubstr("hello"));
}

TEST(LoopbackListener, ItsThreadTakesNoneOfTheHostsSignalsButReportsItsOwnFaults) {
  LoopbackListener listener;
  std::promise<sigset_t> mask;
  listener.start([&](const LoopbackRequest&) {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    mask.set_value(blocked);
    return answerWith("");
  });
  roundTrip(listener.host(), getRequest(listener.host(), "/"));
  const sigset_t blocked = mask.get_future().get();
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD})
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
  EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
}

TEST(LoopbackListener, ARequestThatComesByteByByteIsPutTogether) {
  LoopbackListener listener;
  listener.start(echo);
  const RawClient client(listener.host());
  for (const char c : getRequest(listener.host(), "/")) client.send(std::string_view(&c, 1));
  EXPECT_THAT(client.receiveAll(), HasSubstr("hello"));
}

TEST(LoopbackListener, WhatFollowsTheHeadIsNotSeen) {
  LoopbackListener listener;
  std::promise<std::string> head;
  listener.start([&](const LoopbackRequest& request) {
    head.set_value(std::string(request.head));
    return answerWith("");
  });
  roundTrip(listener.host(), "POST / HTTP/1.1\r\n\r\nbody\r\n\r\n");
  EXPECT_EQ(head.get_future().get(), "POST / HTTP/1.1\r\n\r\n");
}

TEST(LoopbackListener, AnOverlongRequestIsToldSoAndItsSenderGetsToReadIt) {
  LoopbackListener listener;
  listener.start(echo);
  const auto answer =
      roundTrip(listener.host(), "GET / HTTP/1.1\r\nX: " + std::string(100'000, 'x') + "\r\n\r\n");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 431 "));
}

TEST(LoopbackListener, ABigBodyDoesNotCostTheAnswer) {
  LoopbackListener listener;
  listener.start(echo);
  EXPECT_THAT(roundTrip(listener.host(), "POST / HTTP/1.1\r\n\r\n" + std::string(1'000'000, 'x')),
              HasSubstr("hello"));
}

TEST(LoopbackListener, ASilentConnectionIsDroppedWhenItsTimeIsOver) {
  LoopbackListener listener(impatient());
  listener.start(echo);
  const RawClient silent(listener.host());
  const RawClient slow(listener.host());
  slow.send("GET / HT");
  EXPECT_THAT(silent.receiveAll(), IsEmpty());
  EXPECT_THAT(slow.receiveAll(), IsEmpty());
  EXPECT_THAT(roundTrip(listener.host(), getRequest(listener.host(), "/")), HasSubstr("hello"));
}

TEST(LoopbackListener, AnEmptyConnectionIsNoMatter) {
  LoopbackListener listener;
  listener.start(echo);
  RawClient(listener.host()).close();
  EXPECT_THAT(roundTrip(listener.host(), getRequest(listener.host(), "/")), HasSubstr("hello"));
}

TEST(LoopbackListener, AFloodOfSilentConnectionsLosesTheOldestAndTheRealOneGetsThrough) {
  LoopbackLimits limits;
  limits.connections = 8;
  LoopbackListener listener(limits);
  listener.start(echo);
  std::vector<RawClient> flood;
  for (int i = 0; i < 100; ++i) {
    flood.emplace_back(listener.host());
    flood.back().send("GET /");
  }
  EXPECT_THAT(roundTrip(listener.host(), getRequest(listener.host(), "/")), HasSubstr("hello"));
  EXPECT_THAT(flood.front().receiveAll(), IsEmpty());
}

/// Keeps 300 connections open until it ends, half of them silent and half with the beginning of a request; for each one
/// that is dropped comes another.
class Flood {
 public:
  explicit Flood(const std::string& host)
      : thread_([this, host](std::stop_token stop) { run(host, stop); }) {}
  void waitUntilUnderWay() { underWay_.get_future().wait(); }

 private:
  void run(const std::string& host, std::stop_token stop) {
    std::deque<RawClient> open;
    for (int count = 0; !stop.stop_requested(); ++count) {
      open.emplace_back(host);
      if (count % 2 == 0) open.back().send("GET /");
      if (open.size() < 300) continue;
      if (count == 300) underWay_.set_value();
      open.front().receiveAll();
      open.pop_front();
    }
  }

  std::promise<void> underWay_;
  std::jthread thread_;
};

TEST(LoopbackListener, AFloodThatNeverEndsDoesNotKeepTheRealRequestOut) {
  LoopbackListener listener;
  listener.start(echo);
  Flood flood(listener.host());
  flood.waitUntilUnderWay();
  // One that is kept from sending by the scheduler for as long as 64 others come is among the oldest; it is reloaded.
  for (int i = 0; i < 5; ++i) {
    std::string answer;
    for (int tries = 0; answer.empty() && tries < 3; ++tries)
      answer = roundTrip(listener.host(), getRequest(listener.host(), "/"));
    EXPECT_THAT(answer, HasSubstr("hello"));
  }
}

TEST(LoopbackListener, TheHeldConnectionOutlivesTimeAndFlood) {
  auto limits = impatient();
  limits.connections = 2;
  LoopbackListener listener(limits);
  std::promise<void> isHeld;
  listener.start([&](const LoopbackRequest& request) {
    auto reply = echo(request);
    if (!reply) isHeld.set_value();
    return reply;
  });
  const RawClient held(listener.host());
  held.send(getRequest(listener.host(), "/hold"));
  isHeld.get_future().wait();
  // Each of these is dropped for its silence, which takes as long as the held one may have taken.
  for (int i = 0; i < 4; ++i) {
    const RawClient silent(listener.host());
    const RawClient another(listener.host());
    const RawClient third(listener.host());
    third.receiveAll();
  }
  listener.finish(answerWith("done"), [] {});
  EXPECT_THAT(held.receiveAll(), HasSubstr("done"));
}

TEST(LoopbackListener, FinishAnswersTheHeldConnectionAndClosesThePortBeforeItSaysSo) {
  LoopbackListener listener;
  std::promise<void> isHeld;
  std::promise<bool> canConnect;
  listener.start([&](const LoopbackRequest& request) {
    auto reply = echo(request);
    if (!reply) isHeld.set_value();
    return reply;
  });
  const RawClient held(listener.host());
  const RawClient silent(listener.host());
  held.send(getRequest(listener.host(), "/hold"));
  isHeld.get_future().wait();
  listener.finish(answerWith("done"),
                  [&] { canConnect.set_value(RawClient(listener.host()).isConnected()); });
  EXPECT_THAT(held.receiveAll(), HasSubstr("done"));
  EXPECT_THAT(silent.receiveAll(), IsEmpty());
  EXPECT_FALSE(canConnect.get_future().get());
}

TEST(LoopbackListener, FinishWithoutAHeldConnectionClosesAtOnce) {
  LoopbackListener listener;
  listener.start(echo);
  std::promise<void> finished;
  listener.finish(answerWith("nobody"), [&] { finished.set_value(); });
  finished.get_future().wait();
  EXPECT_FALSE(RawClient(listener.host()).isConnected());
}

TEST(LoopbackListener, FinishIsToldAlsoWhenTheBrowserHasGone) {
  LoopbackListener listener;
  std::promise<void> isHeld;
  std::promise<void> finished;
  listener.start([&](const LoopbackRequest&) -> std::optional<std::string> {
    isHeld.set_value();
    return std::nullopt;
  });
  RawClient held(listener.host());
  held.send(getRequest(listener.host(), "/hold"));
  isHeld.get_future().wait();
  held.close();
  listener.finish(answerWith("done"), [&] { finished.set_value(); });
  finished.get_future().wait();
}

TEST(LoopbackListener, StopClosesEverything) {
  LoopbackListener listener;
  listener.start(echo);
  const RawClient client(listener.host());
  listener.stop();
  EXPECT_THAT(client.receiveAll(), IsEmpty());
  EXPECT_FALSE(RawClient(listener.host()).isConnected());
}

TEST(LoopbackListener, DroppingItClosesThePort) {
  std::string host;
  {
    LoopbackListener listener;
    listener.start(echo);
    host = listener.host();
  }
  EXPECT_FALSE(RawClient(host).isConnected());
}

TEST(LoopbackListener, ItMayBeDroppedOnItsOwnThread) {
  auto listener = std::make_unique<LoopbackListener>();
  const auto host = listener->host();
  std::promise<void> isStarted;
  std::promise<void> dropped;
  auto* bare = listener.get();
  bare->start([&](const LoopbackRequest&) {
    isStarted.get_future().wait();
    listener = nullptr;
    dropped.set_value();
    return answerWith("last words");
  });
  isStarted.set_value();
  const RawClient client(host);
  client.send(getRequest(host, "/"));
  dropped.get_future().wait();
  client.receiveAll();
  EXPECT_FALSE(RawClient(host).isConnected());
}

TEST(LoopbackListener, WithoutAnIPv4LoopbackItTakesTheOther) {
  LoopbackLimits limits;
  limits.addresses = {"192.0.2.1",
                      "::1"};  // the first is for documentation only (RFC 5737), so no machine has it
  try {
    LoopbackListener listener(limits);
    EXPECT_THAT(listener.host(), ::testing::MatchesRegex("\\[::1\\]:[0-9]+"));
    listener.start(echo);
    EXPECT_THAT(roundTrip(listener.host(), getRequest(listener.host(), "/")), HasSubstr("hello"));
  } catch (const AnyError&) {
    GTEST_SKIP() << "this machine has no IPv6 loopback";
  }
}

/// Gives this thread, and those that it starts, a network of their own that has no address but ::1.
bool enterANetworkWithoutIPv4() {
  if (::unshare(CLONE_NEWNET) != 0) return false;
  const int control = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq loopback{};
  std::strcpy(loopback.ifr_name, "lo");
  loopback.ifr_flags = IFF_UP;
  const bool isUp = ::ioctl(control, SIOCSIFFLAGS, &loopback) == 0;
  sockaddr_in none{};
  none.sin_family = AF_INET;
  std::memcpy(&loopback.ifr_addr, &none, sizeof none);
  const bool isWithout = ::ioctl(control, SIOCSIFADDR, &loopback) == 0;
  ::close(control);
  return isUp && isWithout;
}

TEST(LoopbackListener, OnAMachineWithoutAnIPv4LoopbackItListensOnTheOther) {
  bool isPermitted = false;
  std::string host;
  std::string answer;
  std::thread([&] {
    isPermitted = enterANetworkWithoutIPv4();
    if (!isPermitted) return;
    LoopbackListener listener;
    host = listener.host();
    listener.start(echo);
    answer = roundTrip(host, getRequest(host, "/"));
  }).join();
  if (!isPermitted) GTEST_SKIP() << "no right to make a network here";
  EXPECT_THAT(host, ::testing::MatchesRegex("\\[::1\\]:[0-9]+"));
  EXPECT_THAT(answer, HasSubstr("hello"));
}

TEST(LoopbackListener, WithoutAnyLoopbackItSaysSo) {
  LoopbackLimits limits;
  limits.addresses = {"192.0.2.1"};
  const auto error = errorOf([&] { LoopbackListener{limits}; });
  ASSERT_TRUE(error);
  EXPECT_THAT(*error, IsError("TessoraService", -101, HasSubstr("could not open a port")));
}

TEST(LoopbackListener, NoSocketIsInheritedByPrograms) {
  const auto openDescriptors = [] {
    std::vector<int> leaky;
    for (int descriptor = 3; descriptor < 256; ++descriptor) {
      const int flags = ::fcntl(descriptor, F_GETFD);
      if (flags >= 0 && !(flags & FD_CLOEXEC)) leaky.push_back(descriptor);
    }
    return leaky;
  };
  const auto before = openDescriptors();
  LoopbackListener listener;
  std::promise<void> isHeld;
  listener.start([&](const LoopbackRequest&) -> std::optional<std::string> {
    isHeld.set_value();
    return std::nullopt;
  });
  const RawClient held(listener.host());
  held.send(getRequest(listener.host(), "/hold"));
  isHeld.get_future().wait();
  EXPECT_EQ(openDescriptors(), before);
}

TEST(LoopbackListener, ConnectionsAreCloseOnExecFromTheirFirstMomentOn) {
  flagsOfAccept = 0;
  LoopbackListener listener;
  listener.start(echo);
  roundTrip(listener.host(), getRequest(listener.host(), "/"));
  EXPECT_NE(flagsOfAccept & SOCK_CLOEXEC, 0);
}

TEST(LoopbackListener, WithNoDescriptorLeftItWaitsUntilOneIsFree) {
  if (sanitizersNeedDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  LoopbackListener listener;
  listener.start(echo);
  std::optional<DescriptorLimit> limit(std::in_place, 1);
  failuresOfAccept = 0;
  const RawClient client(listener.host());  // has the last one
  client.send(getRequest(listener.host(), "/"));
  failuresOfAccept.wait(0);
  limit.reset();
  EXPECT_THAT(client.receiveAll(), HasSubstr("hello"));
}

TEST(LoopbackListener, TellsOnceThatItsTimeIsUp) {
  LoopbackLimits limits;
  limits.lifetime = std::chrono::milliseconds{1};
  LoopbackListener listener(limits);
  std::promise<void> told;
  LoopbackTroubles troubles;
  troubles.timeIsUp = [&told] { told.set_value(); };
  listener.start(echo, std::move(troubles));
  told.get_future().wait();
  EXPECT_THAT(roundTrip(listener.host(), getRequest(listener.host(), "/")), HasSubstr("hello"));
}

TEST(LoopbackListener, FinishAnswersAllThatAreHeld) {
  LoopbackListener listener;
  std::promise<void> areHeld;
  int count = 0;
  listener.start([&](const LoopbackRequest&) -> std::optional<std::string> {
    if (++count == 2) areHeld.set_value();
    return std::nullopt;
  });
  const RawClient first(listener.host());
  const RawClient second(listener.host());
  first.send(getRequest(listener.host(), "/hold"));
  second.send(getRequest(listener.host(), "/hold"));
  areHeld.get_future().wait();
  listener.finish(answerWith("done"), [] {});
  EXPECT_THAT(first.receiveAll(), HasSubstr("done"));
  EXPECT_THAT(second.receiveAll(), HasSubstr("done"));
}

TEST(LoopbackListener, WithoutAFreeDescriptorTheOldestConnectionMakesRoom) {
  if (sanitizersNeedDescriptors) GTEST_SKIP() << "the sanitizers need descriptors themselves";
  LoopbackListener listener;
  const RawClient silent(listener.host());
  const RawClient second(listener.host());
  second.send(getRequest(listener.host(), "/"));
  const DescriptorLimit oneFree(1);
  listener.start(echo);
  EXPECT_THAT(silent.receiveAll(), IsEmpty());
  EXPECT_THAT(second.receiveAll(), HasSubstr("hello"));
}

}  // namespace
}  // namespace corvane::test
