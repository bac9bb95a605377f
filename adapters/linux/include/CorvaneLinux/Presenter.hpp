#pragma once

#include <Corvane/AnyCancellable.hpp>
#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/WindowHandle.hpp>

#include <memory>
#include <string>

namespace corvane {

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
  [[nodiscard]] virtual std::shared_ptr<Cancellable> present(const std::string& url,
                                                             const WindowHandle& window,
                                                             UniqueFunction<void()> dismissed) = 0;
};

}  // namespace corvane
