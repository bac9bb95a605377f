#pragma once

#include <Corvane/CancellableSlot.hpp>
#include <CorvaneLinux/Presenter.hpp>

#include <memory>
#include <string>
#include <utility>

namespace corvane {

/// A page that one presenter tries to present, and the next one does if that fails.
class Presentation final : public Cancellable {
 public:
  Presentation(std::string url, WindowHandle window, UniqueFunction<void()> dismissed,
               std::shared_ptr<Presenter> next)
      : url_(std::move(url)),
        window_(std::move(window)),
        dismissed_(std::move(dismissed)),
        next_(std::move(next)) {}

  void cancel() noexcept override { running_.cancel(); }
  /// What to cancel meanwhile.
  void setRunning(std::shared_ptr<Cancellable> running) { running_.set(std::move(running)); }

  /// Leaves the page to the next presenter, unless cancelled. Not together with `dismiss`.
  void passOn() {
    if (!running_.isCancelled()) running_.set(next_->present(url_, window_, std::move(dismissed_)));
  }
  /// Tells that the user dismissed the page.
  void dismiss() {
    if (const auto dismissed = std::move(dismissed_); dismissed && !running_.isCancelled()) dismissed();
  }

 private:
  const std::string url_;
  const WindowHandle window_;
  UniqueFunction<void()> dismissed_;
  const std::shared_ptr<Presenter> next_;
  CancellableSlot running_;
};

}  // namespace corvane
