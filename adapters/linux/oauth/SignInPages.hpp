#pragma once

#include <CorvanePlatform/URL.hpp>

#include <string>

namespace corvane {

/// What the browser may be told. Every page is a fixed text: nothing of a request ever stands in one.
enum class SignInPage {
  badRequest,
  notFound,
  methodNotAllowed,
  tooLong,
  declined,
  accessMissing,
  failed,
};

/// A whole HTTP answer with that page, which asks not to be stored and may load or run nothing.
std::string pageReply(SignInPage page);

/// A whole HTTP answer that sends the browser on to the success page.
std::string redirectReply(const URL& location);

}  // namespace corvane
