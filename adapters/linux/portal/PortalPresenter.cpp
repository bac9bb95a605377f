#include "PortalPresenter.hpp"

#include "BusAddress.hpp"
#include "OpenURICall.hpp"
#include "Presentation.hpp"
#include "SignalsBlocked.hpp"

#include <pthread.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace corvane {

namespace {

std::string parentWindow(const WindowHandle& window) {
  switch (window.kind()) {
    case WindowHandle::Kind::x11: {
      std::array<char, 8> digits;
      const auto end = std::to_chars(digits.begin(), digits.end(), window.windowID(), 16).ptr;
      return "x11:" + std::string(digits.begin(), end);
    }
    case WindowHandle::Kind::wayland:
      return "wayland:" + window.exportedHandle();
    case WindowHandle::Kind::terminal:
      break;
  }
  return {};
}

std::string activationToken(const WindowHandle& window) {
  if (!window.activationToken().empty()) return window.activationToken();
  const char* launchers = std::getenv("XDG_ACTIVATION_TOKEN");
  return launchers ? launchers : "";
}

void converse(OpenURICall& call, Presentation& presentation) {
  switch (call.run()) {
    case OpenURICall::Outcome::dismissed:
      presentation.dismiss();
      break;
    case OpenURICall::Outcome::failed:
      presentation.passOn();
      break;
    case OpenURICall::Outcome::opened:
    case OpenURICall::Outcome::cancelled:
      break;
  }
}

}  // namespace

PortalPresenter::PortalPresenter(std::shared_ptr<Presenter> next, std::chrono::milliseconds deadline)
    : next_(std::move(next)), deadline_(deadline) {}

std::shared_ptr<Cancellable> PortalPresenter::present(const std::string& url, const WindowHandle& window,
                                                      UniqueFunction<void()> dismissed) {
  auto address = sessionBusAddress();
  if (!address) return next_->present(url, window, std::move(dismissed));
  auto presentation = std::make_shared<Presentation>(url, window, std::move(dismissed), next_);
  auto call = std::make_unique<OpenURICall>(
      *std::move(address), OpenURIRequest{url, parentWindow(window), activationToken(window)}, deadline_);
  presentation->setRunning(call->cancellation());
  try {
    const SignalsBlocked signals;
    std::thread([call = std::move(call), presentation] {
      pthread_setname_np(pthread_self(), "corvane-portal");
      converse(*call, *presentation);
    }).detach();
  } catch (const std::system_error&) {
    presentation->passOn();
  }
  return presentation;
}

}  // namespace corvane
