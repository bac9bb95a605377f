#pragma once

#include "HTTPClient.hpp"
#include "TokenResponse.hpp"

#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>
#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/Queue.hpp>

#include <memory>
#include <string>

namespace corvane {

/// The authorization server's token endpoint (RFC 6749 section 3.2): a form goes in, tokens or an error
/// come out.
///
/// Threads: any; the handler is called on a pool thread, exactly once unless cancelled, even when the
/// HTTP client drops the request. When the pool cannot start a thread it is called on the thread at hand.
/// `send` throws only std::bad_alloc, and then nothing has been sent and the handler is never called.
/// Errors: NSURLErrorDomain for what went wrong on the way, with -1011 for 5xx, 429, 408 and a
/// refusal that says that the server is busy, which may pass, and -1017 for a 2xx that holds no
/// tokens; ENOMEM in NSPOSIXErrorDomain when there is no memory to send the request or to read its
/// answer; "org.openid.appauth.oauth_token" for a refusal, codes as in OAuthErrors.hpp. No text
/// quotes the answer but for the OAuth error's own words, from which the secrets that were sent are
/// struck out, also where only a part of one is repeated.
class TokenEndpoint {
 public:
  using Handler = UniqueFunction<void(Result<TokenResponse, NSError>)>;

  TokenEndpoint(std::shared_ptr<HTTPClient> http, std::shared_ptr<Queue> pool, std::string url);

  const std::string& url() const { return url_; }

  [[nodiscard]] std::shared_ptr<Cancellable> send(Data form, Handler handler) const;

 private:
  std::shared_ptr<HTTPClient> http_;
  std::shared_ptr<Queue> pool_;
  std::string url_;
};

}  // namespace corvane
