#pragma once

#include <string_view>

namespace corvane {

/// What an error means that the sign-in page hands back (RFC 6749 section 4.1.2.1; OpenID Connect Core section
/// 3.1.2.6; Google's OAuth guide for installed apps, "Authorization errors"), in words for the user.
struct SignInRefusal {
  std::string_view name;      // as it stands in the redirect; empty for all that are not known
  std::string_view sentence;  // without its full stop
  std::string_view advice;    // what the user can do
  bool isTemporary = false;
};

/// All texts are constants: nothing of the redirect stands in them.
const SignInRefusal& refusalNamed(std::string_view error);

}  // namespace corvane
