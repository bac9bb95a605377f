#include "Context.hpp"

#include "Failure.hpp"
#include "present/ErrorReport.hpp"
#include "present/Escape.hpp"
#include "present/Terminal.hpp"

#include <utility>

namespace corvane::cli {

void Context::note(std::string_view text) const {
  if (!options.json) printToStandardError(escapedProse(text) + "\n", interrupt.descriptor());
}

Failure Context::explained(Failure failure) const {
  if (!failure.ofKeychain) return failure;
  auto reason = keychain.reason(*failure.ofKeychain);
  if (reason.empty()) return failure;
  failure.why = std::move(reason);
  // The reason of a refusal ends with the command to run.
  if (failure.ofKeychain == errSecNotAvailable && options.keychain == KeychainBackend::encryptedFile)
    failure.remedy.clear();
  return failure;
}

void Context::report(const Failure& told) const {
  const auto failure = explained(told);
  printToStandardError(options.json ? reportInJSON(failure) : reportForPeople(failure, errorStyle),
                       interrupt.descriptor());
}

}  // namespace corvane::cli
