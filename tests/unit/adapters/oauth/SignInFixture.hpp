#pragma once

#include "Documents.hpp"
#include "ManualClock.hpp"
#include "RawClient.hpp"
#include "ScriptedHTTPClient.hpp"
#include "ThreadQueue.hpp"
#include "oauth/BrowserSignInService.hpp"
#include "oauth/FormEncoding.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace corvane::test {

/// Takes the page's addresses down instead of opening one.
class RecordingPresenter final : public Presenter {
 public:
  struct Presentation final : Cancellable {
    void cancel() noexcept override { isOver = true; }
    std::atomic<bool> isOver{false};
  };

  std::shared_ptr<Cancellable> present(const std::string&, const WindowHandle&,
                                       UniqueFunction<void()>) override {
    ADD_FAILURE() << "a sign-in presents a link";
    return nullptr;
  }
  std::shared_ptr<Cancellable> presentLink(const SignInLink& link, const WindowHandle& window,
                                           UniqueFunction<void()> dismissed) override {
    lastURL = link.page;
    oneUseURL = link.oneUse;
    lastWindow = window;
    thread = std::this_thread::get_id();
    dismiss = std::move(dismissed);
    presentation = std::make_shared<Presentation>();
    if (dismissAtOnce) dismiss();
    return presentation;
  }

  bool dismissAtOnce = false;
  std::string lastURL;
  std::string oneUseURL;
  std::optional<WindowHandle> lastWindow;
  std::thread::id thread;
  UniqueFunction<void()> dismiss;
  std::shared_ptr<Presentation> presentation;
};

/// One sign-in with a scripted token endpoint, a presenter that only takes notes, and real loopback sockets.
struct SignIn {
  struct Outcome {
    std::shared_ptr<AuthSession> session;
    std::optional<NSError> error;
    std::thread::id thread;
  };

  std::shared_ptr<ScriptedHTTPClient> http = std::make_shared<ScriptedHTTPClient>();
  std::shared_ptr<ThreadQueue> pool = std::make_shared<ThreadQueue>();
  /// In place of the two, for sign-ins that are to find them in trouble.
  std::shared_ptr<Queue> otherPool;
  std::shared_ptr<HTTPClient> otherHTTP;
  std::shared_ptr<RecordingPresenter> presenter = std::make_shared<RecordingPresenter>();
  ManualClock clock;
  std::string loginHint;
  bool onlyThisAccount = false;
  std::chrono::milliseconds timeout{0};
  LoopbackLimits limits;
  std::string clientSecret = "the-client-secret";

  std::shared_ptr<BrowserSignInService> service;
  std::shared_ptr<std::promise<Outcome>> promise = std::make_shared<std::promise<Outcome>>();
  /// Lives as long as the handler does.
  std::weak_ptr<int> handlerLife;

  void start() {
    std::shared_ptr<Queue> queue = pool;
    if (otherPool) queue = otherPool;
    std::shared_ptr<HTTPClient> client = http;
    if (otherHTTP) client = otherHTTP;
    SignInEnvironment environment{{},     loginHint,       presenter, client, queue, clock.clock(),
                                  limits, onlyThisAccount, timeout};
    service = std::make_shared<BrowserSignInService>(QVTessoraCredentials(clientID, Secret(clientSecret)),
                                                     *URL::parse("https://drive.google.com/"), environment);
    const auto life = std::make_shared<int>();
    handlerLife = life;
    service->runSignIn(WindowHandle::x11(7), [result = promise, life](auto session, auto error) {
      result->set_value({std::move(session), std::move(error), std::this_thread::get_id()});
    });
  }

  Outcome outcome() { return promise->get_future().get(); }

  /// A parameter of the sign-in page's URL.
  std::string parameter(const std::string& name) const {
    const auto& url = presenter->lastURL;
    const auto parameters = parseForm(std::string_view(url).substr(url.find('?') + 1));
    const auto* value = findParameter(*parameters, name);
    return value ? std::string(value->reveal()) : "";
  }
  std::string host() const {
    const auto uri = parameter("redirect_uri");
    return uri.substr(7, uri.find('/', 7) - 7);
  }
  std::string path() const { return parameter("redirect_uri").substr(7 + host().size()); }

  /// What the sign-in page makes the browser ask for.
  std::string callback(const std::string& query) const { return getRequest(host(), path() + "?" + query); }
  /// A browser's visit of the one-use address, with these further header lines.
  std::string visit(const std::string& headers = {}, const std::string& method = "GET") const {
    const auto target = presenter->oneUseURL.substr(7 + host().size());
    return roundTrip(host(),
                     method + " " + target + " HTTP/1.1\r\nHost: " + host() + "\r\n" + headers + "\r\n");
  }
  std::string goodCallback() const { return callback("state=" + parameter("state") + "&code=4%2Fthe-code"); }

  JSONDocument tokens() { return goodTokens(idToken(goodClaims(parameter("nonce"), clock.wall()))); }

  /// Lets the browser come back while the token endpoint answers like that; gives what the browser sees.
  std::string comeBack(int status, const std::string& body) {
    const RawClient browser(host());
    browser.send(goodCallback());
    http->next()->answer(status, body);
    return browser.receiveAll();
  }
};

}  // namespace corvane::test
