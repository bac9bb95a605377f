#include "TerminalPresenter.hpp"

#include <utility>

namespace corvane::cli {

/// Lets go of the sign-in once it is over. A page that is open in the browser stays: it is the user's.
class TerminalPresenter::Page final : public Cancellable {
 public:
  Page(std::weak_ptr<TerminalPresenter> owner, std::shared_ptr<Cancellable> inBrowser)
      : owner_(std::move(owner)), inBrowser_(std::move(inBrowser)) {}
  void cancel() noexcept override {
    if (const auto owner = owner_.lock()) owner->forget();
    if (inBrowser_) inBrowser_->cancel();
  }

 private:
  const std::weak_ptr<TerminalPresenter> owner_;
  const std::shared_ptr<Cancellable> inBrowser_;
};

std::shared_ptr<Cancellable> TerminalPresenter::presentLink(const SignInLink& link,
                                                            const WindowHandle& window,
                                                            UniqueFunction<void()> dismissed) {
  note_(browser_ ? "Your browser opens this page; sign in there, or press Ctrl-C to give up:"
                 : "Open this page in a browser on this computer; press Ctrl-C to give up:");
  printURL_(link.page);
  bool early = false;
  {
    const std::lock_guard lock(mutex_);
    early = dismissedEarly_;
    if (!early) dismissed_ = std::move(dismissed);
  }
  if (early) {
    dismissed();
    return nullptr;
  }
  auto inBrowser = browser_ ? browser_->presentLink(link, window,
                                                    [weak = weak_from_this()] {
                                                      if (const auto self = weak.lock()) self->dismiss();
                                                    })
                            : nullptr;
  return std::make_shared<Page>(weak_from_this(), std::move(inBrowser));
}

void TerminalPresenter::dismiss() {
  UniqueFunction<void()> dismissed;
  {
    const std::lock_guard lock(mutex_);
    dismissed = std::move(dismissed_);
    dismissedEarly_ = true;
  }
  if (dismissed) dismissed();
}

void TerminalPresenter::forget() {
  UniqueFunction<void()> dropped;
  const std::lock_guard lock(mutex_);
  dropped = std::move(dismissed_);
}

}  // namespace corvane::cli
