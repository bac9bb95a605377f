#pragma once

#include "SignInPages.hpp"

#include <Corvane/Secret.hpp>

#include <string>
#include <string_view>
#include <variant>

namespace corvane {

/// What the browser's way back to us must look like.
struct ExpectedCallback {
  std::string host;  // "127.0.0.1:12345", exactly as in the redirect URI
  std::string path;
  Secret state;
  std::string issuer;
};

/// A request that is not our callback: it gets the page, and waiting goes on.
struct StrayRequest {
  SignInPage page;
};

/// The authorization server said no (RFC 6749 section 4.1.2.1).
struct CallbackRefusal {
  std::string error;
  std::string description;
};

/// Our state, but another issuer: the answer of a server that we did not ask (RFC 9207 section 2.4).
struct ForeignIssuer {};

/// The code to exchange.
struct CallbackCode {
  Secret code;
};

using Callback = std::variant<StrayRequest, CallbackRefusal, ForeignIssuer, CallbackCode>;

/// Judges a request's head (through its empty line).
///
/// Any page that the user visits can make the browser send requests here, and any local program can send its
/// own. So a request counts only when it is a GET of the random path, addressed to the listener by number
/// (which a name rebound to 127.0.0.1 is not), with the one state that only the sign-in page was told, and no
/// parameter twice.
Callback readCallback(std::string_view head, const ExpectedCallback& expected);

}  // namespace corvane
