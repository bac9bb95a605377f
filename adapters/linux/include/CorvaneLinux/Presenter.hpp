#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/WindowHandle.hpp>

#include <memory>
#include <string>
#include <utility>

namespace corvane {

/// Two addresses of one sign-in page.
struct SignInLink {
  /// An address on this computer that leads the first browser that opens it, and only that one, on to the page.
  /// Opened by a second one it ends the sign-in with an error, since another program may have seen it.
  std::string oneUse;
  /// The page's own. Whoever has it can finish the sign-in with an account of their own, so it may be shown to
  /// the user, but must not be given to another program: every user of the machine may read command lines.
  std::string page;
};

/// Shows the sign-in page to the user: the one seam between a sign-in and whatever opens a browser.
///
/// Threads: `present` is called on the thread that starts the sign-in and must not wait for the user;
/// `dismissed` may be called from any thread, at most once, also before `present` returns.
/// Cancellation: the returned cancellable (which may be null) is cancelled when the sign-in is over, so that
/// a page or a prompt can be taken away.
/// Errors: none. A presenter that cannot open a browser shows the URL instead; the sign-in goes on waiting.
class Presenter {
 public:
  virtual ~Presenter() = default;

  /// `url` is the one-use address.
  [[nodiscard]] virtual std::shared_ptr<Cancellable> present(const std::string& url,
                                                             const WindowHandle& window,
                                                             UniqueFunction<void()> dismissed) = 0;

  /// What a sign-in calls. Override it to show the page's own address to the user, who may then open it as
  /// often, and in as many browsers, as they like.
  [[nodiscard]] virtual std::shared_ptr<Cancellable> presentLink(const SignInLink& link,
                                                                 const WindowHandle& window,
                                                                 UniqueFunction<void()> dismissed) {
    return present(link.oneUse, window, std::move(dismissed));
  }
};

}  // namespace corvane
