#include "SignInFaultFixture.hpp"

#include "integration/http/StuckResolver.hpp"
#include "support/FullBacklog.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>

// Every phase of a sign-in is brought about, the sign-in cancelled there, and nothing may come of it.

namespace corvane::test {
namespace {

using emulator::Fault;
using emulator::Gate;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A server that takes connections and never says a word.
class SilentServer {
 public:
  SilentServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listener_, generic, size) != 0 || ::listen(listener_, 1) != 0 ||
        ::getsockname(listener_, generic, &size) != 0)
      ADD_FAILURE() << "no port for a silent server";
    port_ = ntohs(address.sin_port);
  }
  SilentServer(const SilentServer&) = delete;
  SilentServer& operator=(const SilentServer&) = delete;
  ~SilentServer() {
    ::close(connection_);
    ::close(listener_);
  }

  std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
  /// Waits until somebody has begun to speak.
  void waitForFirstByte() {
    connection_ = ::accept(listener_, nullptr, nullptr);
    char byte = 0;
    EXPECT_EQ(::recv(connection_, &byte, 1, MSG_PEEK), 1);
  }

 private:
  int listener_;
  int connection_ = -1;
  std::uint16_t port_ = 0;
};

class CancelledSignInTest;

struct Phase {
  const char* name;
  void (CancelledSignInTest::*bringAbout)();
  std::size_t kept = 0;
};

class CancelledSignInTest : public SignInFaultFixture, public ::testing::WithParamInterface<Phase> {
 public:
  void nothing() {}

  void halfARequest() { tab().send("GET /half-a-request HTTP/1.1\r\nHost:"); }

  void nameLookup() {
    tab().send(request);
    resolver.waitForLookups(1);
  }

  void connecting() {
    tab().send(request);
    backlog.waitForConnecting();
  }

  void handshake() {
    tab().send(request);
    silent.waitForFirstByte();
  }

  void tokenRequest() { holdToken(std::nullopt); }
  void tokenAnswer() { holdToken(10); }

  void save() {
    keychain->block();
    tab().send(request);
    keychain->waitUntilBlocked();
  }

 protected:
  LinuxPlatformOptions phaseOptions() {
    auto linux = options();
    const auto phase = GetParam().bringAbout;
    if (phase == &CancelledSignInTest::nameLookup) linux.google.token = "https://www.stuck.test/token";
    if (phase == &CancelledSignInTest::connecting)
      linux.google.token = "https://" + backlog.address() + "/token";
    if (phase == &CancelledSignInTest::handshake)
      linux.google.token = "https://" + silent.address() + "/token";
    return linux;
  }

  const RawClient& tab() {
    callback = page->callback();
    const auto [host, target] = splitURL(callback);
    request = getRequest(host, target);
    return tabs.emplace_back(host);
  }

  void holdToken(std::optional<std::size_t> afterBytes) {
    const auto gate = std::make_shared<Gate>();
    auto fault = Fault::held(gate);
    fault.gateAfter = afterBytes;
    google.faults().add("token", fault);
    tab().send(request);
    ASSERT_TRUE(gate->waitUntilReached());
  }

  const StuckResolver resolver;
  const FullBacklog backlog;
  SilentServer silent;
  std::vector<RawClient> tabs;
  std::string request;
};

TEST_P(CancelledSignInTest, EndsAtOnceAndSilentlyAndTheNextOneWorks) {
  auto factory = hostOn(makeLinuxPlatform(phaseOptions()));
  const auto provider = factory.makeAuthorizationProvider(tracker);
  std::atomic<int> calls{0};
  auto subscription =
      provider->signIn().sink([&calls](const auto&) { ++calls; }, [&calls](const auto&) { ++calls; });
  const auto host = splitURL(page->callback()).first;
  ASSERT_TRUE(RawClient(host).isConnected());
  (this->*GetParam().bringAbout)();

  subscription.cancel();
  EXPECT_EQ(keychain->items().size(), 0u) << "it waited for the keychain";
  keychain->release();
  google.faults().releaseHeld();
  backlog.waitForNobodyConnecting();
  for (const auto& tab : tabs) tab.receiveAll();
  EXPECT_FALSE(RawClient(host).isConnected());

  auto nextHost = hostOn(makeLinuxPlatform(options("grace@example.com")));
  ASSERT_TRUE(signInWith(*nextHost.makeAuthorizationProvider(nullptr)));
  subscription = {};
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(keychain->items().size(), GetParam().kept + 1);
  EXPECT_THAT(tracker->events(), ElementsAre("started"));
  EXPECT_THAT(errorsInTheLog(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    SignIn, CancelledSignInTest,
    ::testing::Values(Phase{"WaitingForTheBrowser", &CancelledSignInTest::nothing},
                      Phase{"ReadingARequest", &CancelledSignInTest::halfARequest},
                      Phase{"LookingUpTheName", &CancelledSignInTest::nameLookup},
                      Phase{"Connecting", &CancelledSignInTest::connecting},
                      Phase{"InTheTLSHandshake", &CancelledSignInTest::handshake},
                      Phase{"WaitingForTheTokens", &CancelledSignInTest::tokenRequest},
                      Phase{"ReadingTheTokens", &CancelledSignInTest::tokenAnswer},
                      // A save that has begun runs to its end; the account is there for the next start.
                      Phase{"SavingTheSession", &CancelledSignInTest::save, 1}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace corvane::test
