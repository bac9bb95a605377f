#pragma once

#include <Corvane/UserInfo.hpp>
#include <DriveParser.hpp>

#include <string>
#include <string_view>

namespace corvane {

/// The error object that Google sent, as it goes into an error's user info: unchanged but for what must not
/// show, and printed as one line.
class StructuredError final : public Printable {
 public:
  /// `secret` is the request's token, which is struck out of every text.
  StructuredError(const DriveErrorObject& error, std::string_view secret);

  std::string description() const override { return description_; }

 private:
  std::string description_;
};

}  // namespace corvane
