#pragma once

#include "unit/adapters/oauth/RawClient.hpp"

#include <CorvaneLinux/Presenter.hpp>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

// The browser of tests that follow a sign-in step by step.

namespace corvane::test {

/// The host and port of a URL, and its path and query.
inline std::pair<std::string, std::string> splitURL(const std::string& url) {
  const auto start = url.find("://") + 3;
  const auto slash = url.find('/', start);
  return {url.substr(start, slash - start), url.substr(slash)};
}

inline std::string locationOf(const std::string& answer) {
  const std::string name = "Location: ";
  const auto start = answer.find(name);
  if (start == std::string::npos) return {};
  return answer.substr(start + name.size(), answer.find("\r\n", start) - start - name.size());
}

inline std::string getPage(const std::string& url) {
  const auto [host, target] = splitURL(url);
  return roundTrip(host, "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n\r\n");
}

/// A parameter of a URL, still encoded; empty when there is none.
inline std::string parameterOf(const std::string& url, const std::string& name) {
  for (const char before : {'?', '&'}) {
    const auto found = url.find(before + name + "=");
    if (found == std::string::npos) continue;
    const auto begin = found + name.size() + 2;
    return url.substr(begin, url.find('&', begin) - begin);
  }
  return {};
}

/// Takes the page's addresses down; the test is the browser.
class NotingPresenter final : public Presenter {
 public:
  std::shared_ptr<Cancellable> present(const std::string&, const WindowHandle&,
                                       UniqueFunction<void()>) override {
    return nullptr;
  }
  std::shared_ptr<Cancellable> presentLink(const SignInLink& link, const WindowHandle&,
                                           UniqueFunction<void()>) override {
    const std::lock_guard guard(mutex_);
    lastURL_ = link.page;
    oneUseURL_ = link.oneUse;
    return nullptr;
  }
  std::string oneUseURL() const {
    const std::lock_guard guard(mutex_);
    return oneUseURL_;
  }
  std::string lastURL() const {
    const std::lock_guard guard(mutex_);
    return lastURL_;
  }
  /// Where the sign-in page sends the browser; the page answers at once, for the account of its hint.
  std::string callback() const { return locationOf(getPage(lastURL())); }

 private:
  mutable std::mutex mutex_;
  std::string lastURL_;
  std::string oneUseURL_;
};

}  // namespace corvane::test
