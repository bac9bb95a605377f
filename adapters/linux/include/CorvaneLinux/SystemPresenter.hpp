#pragma once

#include <CorvaneLinux/Presenter.hpp>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace corvane {

/// Takes the one-use address (Presenter.hpp) when no browser could be opened, to show it to the user. Called on any
/// thread.
using ShowURL = std::function<void(const std::string& url)>;

/// The presenter that a platform has by default: the desktop portal, else `xdg-open`, else `showURL`.
///
/// `browser` is for programs that honour the environment variable BROWSER, as terminal programs do: when it
/// is not empty, its commands (separated by colons, their words by blanks, the URL appended) are tried in order in
/// place of portal and `xdg-open`.
///
/// Lifetime: shared. A presentation may outlive it.
/// Threads: any.
/// Cancellation: a question that the portal shows is taken away; a browser that runs already is left alone.
/// Errors: none; see `showURL`.
[[nodiscard]] std::shared_ptr<Presenter> makeSystemPresenter(ShowURL showURL, std::string_view browser = {});

}  // namespace corvane
