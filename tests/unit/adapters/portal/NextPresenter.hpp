#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <future>
#include <memory>
#include <string>

namespace corvane::test {

/// The next presenter of a chain, which waits to be handed a page.
struct NextPresenter final : Presenter {
  struct Page final : Cancellable {
    void cancel() noexcept override { cancelled.set_value(); }
    std::promise<void> cancelled;
  };
  struct Handed {
    std::string url;
    WindowHandle window;
    UniqueFunction<void()> dismissed;
  };

  std::shared_ptr<Cancellable> present(const std::string& url, const WindowHandle& window,
                                       UniqueFunction<void()> dismissed) override {
    handed.set_value({url, window, std::move(dismissed)});
    return page;
  }

  std::promise<Handed> handed;
  std::shared_ptr<Page> page = std::make_shared<Page>();
};

}  // namespace corvane::test
