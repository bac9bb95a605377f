#include "TerminalPresenter.hpp"

namespace corvane::cli {

/// Lets go of the sign-in once it is over. The browser's page stays: it is the user's.
class TerminalPresenter::Page final : public Cancellable {
 public:
  explicit Page(std::weak_ptr<TerminalPresenter> owner) : owner_(std::move(owner)) {}
  void cancel() noexcept override {
    if (const auto owner = owner_.lock()) owner->forget();
  }

 private:
  std::weak_ptr<TerminalPresenter> owner_;
};

std::shared_ptr<Cancellable> TerminalPresenter::present(const std::string& url, const WindowHandle&,
                                                        UniqueFunction<void()> dismissed) {
  note_(openBrowser_ ? "Your browser opens this page; sign in there, or press Ctrl-C to give up:"
                     : "Open this page in a browser on this computer; press Ctrl-C to give up:");
  printURL_(url);
  if (openBrowser_ && !openBrowser_(url)) note_("No browser could be started: open the page yourself.");

  bool early = false;
  {
    const std::lock_guard lock(mutex_);
    early = dismissedEarly_;
    if (!early) dismissed_ = std::move(dismissed);
  }
  if (early) dismissed();
  return std::make_shared<Page>(weak_from_this());
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
