#pragma once

#include "SignInRefusals.hpp"

#include <string>
#include <string_view>

namespace corvane {

/// What the browser may be told. Every page is a fixed text: nothing of a request ever stands in one.
enum class SignInPage {
  badRequest,
  notFound,
  methodNotAllowed,
  tooLong,
  ahead,
  stranger,
  accessMissing,
  otherAccount,
  openedTwice,
  dismissed,
  failed,
};

/// A whole HTTP answer with that page, which asks not to be stored and may load or run nothing.
std::string pageReply(SignInPage page);

/// The same for an error that the sign-in page handed back.
std::string pageReply(const SignInRefusal& refusal);

/// A whole HTTP answer that sends the browser on. `cookie` is a header line or empty.
std::string redirectReply(std::string_view location, std::string_view cookie = {});

}  // namespace corvane
