#include "portal/PortalPresenter.hpp"

#include "EnvironmentVariable.hpp"
#include "FakePortal.hpp"
#include "NextPresenter.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/UngreetingBus.hpp"

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <future>
#include <memory>
#include <string>

namespace corvane::test {
namespace {

using namespace std::chrono_literals;
using ::testing::StartsWith;

constexpr auto url = "https://accounts.example/auth?a=1&b=$(touch /tmp/x);'\"&c=%20";

struct PortalPresenterTest : ::testing::Test {
  EnvironmentVariable noToken{"XDG_ACTIVATION_TOKEN", std::nullopt};
  EnvironmentVariable noRuntimeFolder{"XDG_RUNTIME_DIR", std::nullopt};
  std::shared_ptr<NextPresenter> next = std::make_shared<NextPresenter>();
  std::promise<void> dismissed;

  std::shared_ptr<Cancellable> present(const WindowHandle& window = WindowHandle::terminal(),
                                       std::chrono::milliseconds deadline = 1h) {
    return PortalPresenter(next, deadline).present(url, window, [this] { dismissed.set_value(); });
  }
  bool isHandedOn(std::future<NextPresenter::Handed>& handed) {
    return handed.wait_for(0s) == std::future_status::ready;
  }
};

struct OnABus : PortalPresenterTest {
  PrivateBus bus;
  std::promise<FakePortal::Call> called;

  static FakePortal::Behaviour answering(unsigned response) {
    return [response](const FakePortal::Call& call) {
      call.reply();
      call.respond(response);
    };
  }
  FakePortal::Call callWith(const WindowHandle& window) {
    std::promise<FakePortal::Call> made;
    FakePortal portal(bus, [&made](const FakePortal::Call& call) {
      call.refuse();
      made.set_value(call);
    });
    const auto presentation =
        PortalPresenter(std::make_shared<NextPresenter>()).present(url, window, nullptr);
    return made.get_future().get();
  }
};

TEST_F(OnABus, ThePortalGetsTheWholeURL) {
  EXPECT_EQ(callWith(WindowHandle::terminal()).uri, url);
}

TEST_F(OnABus, AnX11WindowIsNamedInHexadecimal) {
  EXPECT_EQ(callWith(WindowHandle::x11(0x3e0000a)).parentWindow, "x11:3e0000a");
}

TEST_F(OnABus, AWaylandWindowIsNamedByItsExportedHandle) {
  EXPECT_EQ(callWith(WindowHandle::wayland("8f3a-b")).parentWindow, "wayland:8f3a-b");
}

TEST_F(OnABus, ATerminalHasNoWindowAndNoActivationToken) {
  const auto call = callWith(WindowHandle::terminal());
  EXPECT_EQ(call.parentWindow, "");
  EXPECT_FALSE(call.options.contains("activation_token"));
}

TEST_F(OnABus, TheWindowsActivationTokenComesBeforeTheLaunchers) {
  const EnvironmentVariable launchers("XDG_ACTIVATION_TOKEN", "launcher");
  const auto call = callWith(WindowHandle::wayland("8f3a").withActivationToken("window"));
  EXPECT_EQ(call.options.at("activation_token"), "window");
}

TEST_F(OnABus, TheLaunchersActivationTokenIsPassedOn) {
  const EnvironmentVariable launchers("XDG_ACTIVATION_TOKEN", "launcher");
  EXPECT_EQ(callWith(WindowHandle::terminal()).options.at("activation_token"), "launcher");
}

TEST_F(OnABus, TheRequestsNameCannotBeGuessed) {
  const auto token = callWith(WindowHandle::terminal()).options.at("handle_token");
  EXPECT_THAT(token, ::testing::MatchesRegex("corvane[0-9a-f]{32}"));
  EXPECT_NE(callWith(WindowHandle::terminal()).options.at("handle_token"), token);
}

TEST_F(OnABus, AQuestionThatTheUserClosesIsADismissal) {
  FakePortal portal(bus, answering(1));
  const auto presentation = present();
  dismissed.get_future().get();
}

TEST_F(OnABus, APortalThatCannotOpenThePageLeavesItToTheNext) {
  FakePortal portal(bus, answering(2));
  const auto presentation = present(WindowHandle::x11(7));
  auto handed = next->handed.get_future().get();
  EXPECT_EQ(handed.url, url);
  EXPECT_EQ(handed.window, WindowHandle::x11(7));
  handed.dismissed();
  dismissed.get_future().get();
}

TEST_F(OnABus, AnAnswerBeforeTheReplyCounts) {
  FakePortal portal(bus, [](const FakePortal::Call& call) {
    call.respond(1);
    call.reply();
  });
  const auto presentation = present();
  dismissed.get_future().get();
}

TEST_F(OnABus, WithoutAPortalTheNextPresents) {
  const auto presentation = present();
  EXPECT_EQ(next->handed.get_future().get().url, url);
}

TEST_F(OnABus, APortalThatRefusesLeavesItToTheNext) {
  FakePortal portal(bus, [](const FakePortal::Call& call) { call.refuse(); });
  const auto presentation = present();
  EXPECT_EQ(next->handed.get_future().get().url, url);
}

TEST_F(OnABus, AFrozenPortalHoldsNobodyUpAndTheNextPresentsAfterTheDeadline) {
  FakePortal portal(bus, [](const FakePortal::Call&) {});
  const auto presentation = present(WindowHandle::terminal(), 50ms);
  EXPECT_EQ(next->handed.get_future().get().url, url);
}

TEST_F(OnABus, APortalThatCrashesWhileItAsksLeavesItToTheNext) {
  FakePortal portal(bus, [this](const FakePortal::Call& call) {
    call.reply();
    called.set_value(call);
  });
  const auto presentation = present();
  called.get_future().get();
  portal.leave();
  EXPECT_EQ(next->handed.get_future().get().url, url);
}

TEST_F(OnABus, ABusThatEndsWhileThePortalAsksLeavesItToTheNext) {
  FakePortal portal(bus, [this](const FakePortal::Call& call) {
    call.reply();
    called.set_value(call);
  });
  const auto presentation = present();
  called.get_future().get();
  bus.stop();
  EXPECT_EQ(next->handed.get_future().get().url, url);
}

TEST_F(OnABus, CancellationClosesTheRequestAndNothingIsPresentedAnyMore) {
  FakePortal portal(bus, [this](const FakePortal::Call& call) {
    call.reply();
    called.set_value(call);
  });
  auto handed = next->handed.get_future();
  const auto presentation = present();
  const auto path = called.get_future().get().requestPath;
  presentation->cancel();
  EXPECT_EQ(portal.closed().get(), path);
  EXPECT_FALSE(isHandedOn(handed));
}

TEST_F(OnABus, CancellationWhileThePortalIsFrozenClosesTheRequestToo) {
  FakePortal portal(bus, [this](const FakePortal::Call& call) { called.set_value(call); });
  const auto presentation = present();
  const auto path = called.get_future().get().requestPath;
  presentation->cancel();
  EXPECT_EQ(portal.closed().get(), path);
}

TEST_F(OnABus, CancellationReachesTheNextPresentersPage) {
  FakePortal portal(bus, answering(2));
  const auto presentation = present();
  next->handed.get_future().get();
  presentation->cancel();
  next->page->cancelled.get_future().get();
}

TEST_F(OnABus, ItsThreadTakesNoneOfTheHostsSignals) {
  FakePortal portal(bus, answering(1));
  std::promise<sigset_t> mask;
  const auto presentation = PortalPresenter(next).present(url, WindowHandle::terminal(), [&mask] {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    mask.set_value(blocked);
  });
  const sigset_t blocked = mask.get_future().get();
  for (const int signal : {SIGINT, SIGTERM, SIGPIPE, SIGCHLD})
    EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
}

TEST_F(PortalPresenterTest, WithoutABusTheNextPresentsAtOnceAndNoneIsStarted) {
  const EnvironmentVariable none("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  auto handed = next->handed.get_future();
  EXPECT_EQ(present(), next->page);
  EXPECT_TRUE(isHandedOn(handed));
}

TEST_F(PortalPresenterTest, AnAddressThatAsksToStartABusIsNone) {
  const EnvironmentVariable starting("DBUS_SESSION_BUS_ADDRESS", "autolaunch:");
  auto handed = next->handed.get_future();
  EXPECT_EQ(present(), next->page);
  EXPECT_TRUE(isHandedOn(handed));
}

TEST_F(PortalPresenterTest, ABusThatIsGoneLeavesItToTheNext) {
  const EnvironmentVariable gone("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
  const auto presentation = present();
  EXPECT_EQ(next->handed.get_future().get().url, url);
}

/// A socket that takes connections and says nothing, as a stopped bus does.
class SilentBus {
 public:
  explicit SilentBus(const std::string& path) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(socket_, 8), 0);
  }
  ~SilentBus() { ::close(socket_); }
  SilentBus(const SilentBus&) = delete;
  SilentBus& operator=(const SilentBus&) = delete;

 private:
  const int socket_;
};

TEST_F(PortalPresenterTest, AFrozenBusInTheRuntimeFolderLeavesItToTheNextAfterTheDeadline) {
  const TemporaryFolder folder;
  const SilentBus bus(folder.path() / "bus");
  const EnvironmentVariable none("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
  const EnvironmentVariable runtime("XDG_RUNTIME_DIR", folder.path().string());
  const auto presentation = present(WindowHandle::terminal(), 50ms);
  EXPECT_EQ(next->handed.get_future().get().url, url);
}

// GDBus itself would wait for 25 seconds.
TEST_F(PortalPresenterTest, ABusThatLetsInButDoesNotGreetLeavesItToTheNextAfterTheDeadlineAndIsLeft) {
  const TemporaryFolder folder;
  const auto place = (folder.path() / "bus").string();
  UngreetingBus bus(place);
  const EnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + place);
  const auto presentation = present(WindowHandle::terminal(), 1s);
  EXPECT_EQ(next->handed.get_future().get().url, url);
  EXPECT_EQ(bus.left().wait_for(20s), std::future_status::ready);
  EXPECT_TRUE(bus.wasAsked());
}

TEST_F(PortalPresenterTest, CancellationWhileTheBusIsFrozenPresentsNothing) {
  const TemporaryFolder folder;
  const EnvironmentVariable none("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (folder.path() / "bus").string());
  const SilentBus bus(folder.path() / "bus");
  auto handed = next->handed.get_future();
  present()->cancel();
  next.reset();
  EXPECT_THROW(handed.get(),
               std::future_error);  // a promise that was dropped unkept, once the presentation is over
}

}  // namespace
}  // namespace corvane::test
