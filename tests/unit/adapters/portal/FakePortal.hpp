#pragma once

#include "EnvironmentVariable.hpp"

#include <gio/gio.h>
#include <sys/types.h>

#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace corvane::test {

/// A message bus of the test's own, which DBUS_SESSION_BUS_ADDRESS names while it lives.
class PrivateBus {
 public:
  PrivateBus();
  ~PrivateBus();
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return address_; }
  void stop();

 private:
  pid_t daemon_ = 0;
  std::string address_;
  std::optional<EnvironmentVariable> variable_;
};

/// The desktop portal on a bus, as far as OpenURI goes; the test says how it behaves.
class FakePortal {
 public:
  /// One call of OpenURI. The behaviour runs on GDBus' own thread.
  struct Call {
    std::string parentWindow;
    std::string uri;
    std::map<std::string, std::string> options;
    std::string requestPath;

    void reply() const;
    void refuse() const;
    void respond(unsigned response) const;

    GDBusConnection* connection;
    std::shared_ptr<GDBusMessage> message;
  };
  using Behaviour = std::function<void(const Call&)>;

  FakePortal(const PrivateBus& bus, Behaviour behaviour);
  ~FakePortal() { leave(); }
  FakePortal(const FakePortal&) = delete;
  FakePortal& operator=(const FakePortal&) = delete;

  /// The path of the request that the client closes.
  std::future<std::string> closed() { return conduct_->closed.get_future(); }
  /// Goes away from the bus, as a service that crashes.
  void leave();

 private:
  // Shared with GDBus' thread, which may be within a call when the portal goes.
  struct Conduct {
    Behaviour behaviour;
    std::promise<std::string> closed;

    bool take(GDBusConnection* connection, GDBusMessage* message);
  };

  static GDBusMessage* filter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                              gpointer conduct);

  const std::shared_ptr<Conduct> conduct_;
  GDBusConnection* connection_;
};

}  // namespace corvane::test
