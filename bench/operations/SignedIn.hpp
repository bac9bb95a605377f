#pragma once

#include <Corvane/Corvane.hpp>
#include <CorvaneLinux/HTTPLimits.hpp>

#include <memory>
#include <string>

namespace bench {

/// The module as the corvane program sets it up, on the sessions that the program has stored: so that a process begins
/// with a session and without a sign-in.
class SignedIn {
 public:
  SignedIn(const std::string& url, const std::string& authorities, const corvane::HTTPLimits& limits = {});

  std::shared_ptr<corvane::GoogleDriveAPIType> makeAPI(const std::string& email);

 private:
  corvane::CorvaneFactory factory_;
};

}  // namespace bench
