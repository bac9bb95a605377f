#include "Exchange.hpp"

#include <array>
#include <exception>

#include "Operation.hpp"
#include "text/Digest.hpp"
#include "text/Parameters.hpp"

namespace corvane::emulator {
namespace {

constexpr std::size_t longestBodyKept = 4096;

/// The header's value as the journal shows it.
std::string shown(std::string_view name, std::string_view value) {
  if (name != "Authorization") return std::string(value);
  const auto space = value.find(' ');
  if (space == std::string_view::npos) return fingerprint(value);
  return std::string(value.substr(0, space + 1)) + fingerprint(value.substr(space + 1));
}

std::string shownBody(const Request& request) {
  const bool form = request.header("Content-Type").starts_with("application/x-www-form-urlencoded");
  return (form ? redactedParameters(request.body) : request.body).substr(0, longestBodyKept);
}

JournalEntry entryFor(const Request& request, std::string_view operation, std::uint64_t connection) {
  JournalEntry entry{.operation = std::string(operation), .method = request.method};
  entry.target = request.path();
  if (!request.query().empty()) entry.target += "?" + redactedParameters(request.query());
  for (const std::string_view name : {"Authorization", "User-Agent", "Accept", "Accept-Encoding",
                                      "Content-Type", "Content-Length", "Connection", "Host"}) {
    const auto value = request.header(name);
    if (!value.empty()) entry.headers.emplace_back(name, shown(name, value));
  }
  entry.body = shownBody(request);
  entry.bodyLength = request.body.size();
  entry.connection = connection;
  return entry;
}

Response unknownTarget() {
  return DriveError{.code = 404, .reason = "notFound", .message = "Nothing is served here by that method."}
      .response();
}

/// The answer that the fault puts in place of the service's.
Response replacement(const Fault& fault) {
  if (fault.body) {
    return {.status = fault.status.value_or(200),
            .headers = {{"Content-Type", fault.contentType}},
            .body = std::make_shared<const std::string>(*fault.body)};
  }
  if (fault.status) return DriveError::forReason(*fault.status, fault.reason, fault.message).response();
  return {.headers = {{"Content-Type", fault.contentType}}};
}

}  // namespace

WirePlan Exchange::perform(const Request& request, std::uint64_t connection, bool keepAlive) {
  const WireRequest wire{.keepAlive = keepAlive, .gzip = request.acceptsGzip()};
  if (ControlService::serves(request)) return planAnswer(control_.handle(request), wire, {});
  const auto operation = operationOf(request.method, request.path());
  auto entry = entryFor(request, operation, connection);
  const auto taken = faults_.take(operation);
  const Fault fault = taken.value_or(Fault{});
  Response response;
  if (!fault.replacesAnswer() || fault.performed) response = serve(operation, request);
  if (fault.replacesAnswer()) response = replacement(fault);
  auto plan = planAnswer(std::move(response), wire, fault);
  entry.status = plan.status;
  entry.faulted = taken.has_value();
  journal_.record(std::move(entry));
  return plan;
}

Response Exchange::serve(std::string_view operation, const Request& request) {
  if (request.header("Host").empty()) return DriveError::badRequest("A Host header is required").response();
  try {
    if (operation == "unknown") return unknownTarget();
    if (operation == "about" || operation.starts_with("files.")) return drive_.handle(operation, request);
    return oauth_.handle(operation, request);
  } catch (const std::exception& error) {
    return DriveError{.code = 500, .reason = "internalError", .message = error.what()}.response();
  }
}

}  // namespace corvane::emulator
