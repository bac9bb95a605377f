#pragma once

#include <Corvane/AnyError.hpp>

#include <gmock/gmock.h>

#include <optional>
#include <string>

namespace corvane::test {

/// Matches an AnyError by domain, code and localized description.
MATCHER_P3(IsError, domain, code, description, "") {
  const NSError error = arg.nsError();
  *result_listener << "which is [" << error.domain() << " " << error.code() << "] "
                   << error.localizedDescription();
  return ::testing::ExplainMatchResult(domain, error.domain(), result_listener) &&
         ::testing::ExplainMatchResult(code, error.code(), result_listener) &&
         ::testing::ExplainMatchResult(description, error.localizedDescription(), result_listener);
}

/// The AnyError that the operation throws, or nothing.
template <class Operation>
std::optional<AnyError> errorOf(Operation operation) {
  try {
    operation();
  } catch (const AnyError& error) {
    return error;
  }
  return std::nullopt;
}

}  // namespace corvane::test
