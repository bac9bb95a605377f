#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace corvane::test {

/// A browser without a screen: fetches the sign-in page, which answers at once, and follows its redirect back to the
/// waiting sign-in, but never to the internet.
class ScriptedBrowser final : public Presenter {
 public:
  ~ScriptedBrowser() override;

  std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                       UniqueFunction<void()> dismissed) override;

 private:
  std::mutex mutex_;
  std::vector<std::jthread> visits_;
};

}  // namespace corvane::test
