#pragma once

#include <Corvane/Secret.hpp>

#include <functional>
#include <string>
#include <string_view>

namespace corvane {

/// The address on the loopback listener that sends the user's browser on to the sign-in page.
///
/// The problem: whatever opens a browser puts the address on a command line, and every user of the machine may
/// read command lines. With the sign-in page's own address another user could deliver a code of their own
/// account, and our user would be signed in as them. The idea: the browser gets this short address, which says
/// nothing, and which only the first visitor may use. When a second one comes, one of the two is not our
/// user's browser, and the sign-in has to end. It is the first one that could be too fast for us, so requests
/// from sockets of another user are not let in at all, as far as the kernel tells whose they are.
///
/// What counts as a visit: a GET of our user's. HEAD, which link scanners send, and a browser's loading ahead
/// of a visit (Sec-Purpose) are refused and tell nothing. The first visitor gets a cookie, by which a reload, a second
/// opener or a printed link that is clicked twice is known for the same browser and served again.
class OneUseAddress {
 public:
  enum class Visit {
    elsewhere,         // no request for this address
    methodNotAllowed,  // neither tells anything nor counts
    ahead,             // likewise
    stranger,          // likewise: another user of the machine
    welcome,           // the first visitor, or the same one again
    second,            // another visitor
  };

  /// `host` is the listener's.
  explicit OneUseAddress(std::string host);

  std::string url() const;
  /// The header line that makes the first visitor known again.
  std::string cookieHeader() const;

  /// Judges a request's head (through its empty line). One thread at a time. `isStranger` is asked about a visit only.
  Visit judge(std::string_view head, const std::function<bool()>& isStranger);

 private:
  bool isSameVisitor(std::string_view cookies) const;

  const std::string host_;
  const std::string path_;
  const Secret visitor_;
  bool isVisited_ = false;
};

}  // namespace corvane
