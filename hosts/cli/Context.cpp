#include "Context.hpp"

#include "Failure.hpp"
#include "present/ErrorReport.hpp"
#include "present/Escape.hpp"
#include "present/Terminal.hpp"

namespace corvane::cli {

void Context::note(std::string_view text) const {
  if (!options.json) printToStandardError(escapedProse(text) + "\n");
}

void Context::report(const Failure& failure) const {
  printToStandardError(options.json ? reportInJSON(failure) : reportForPeople(failure, errorStyle));
}

}  // namespace corvane::cli
