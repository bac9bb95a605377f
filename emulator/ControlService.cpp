#include "ControlService.hpp"

#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "FaultJSON.hpp"

namespace corvane::emulator {
namespace {

using nlohmann::ordered_json;

constexpr std::string_view prefix = "/__emulator__/";

ordered_json asJSON(const JournalEntry& entry) {
  ordered_json headers = ordered_json::object();
  for (const auto& [name, value] : entry.headers) headers[name] = value;
  return {{"number", entry.number},
          {"operation", entry.operation},
          {"method", entry.method},
          {"target", entry.target},
          {"headers", headers},
          {"body", entry.body},
          {"bodyLength", entry.bodyLength},
          {"connection", entry.connection},
          {"status", entry.status},
          {"faulted", entry.faulted}};
}

/// Requests may hold any bytes; the journal must be read all the same.
Response answer(const ordered_json& value) {
  return Response::json(200, value.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n");
}

Response problem(int status, std::string_view message) {
  return Response::json(status, ordered_json{{"error", message}}.dump(2) + "\n");
}

Consent consentFrom(const std::string& name) {
  static const std::map<std::string, Consent> names = {{"ask", Consent::Ask},
                                                       {"allow", Consent::Allow},
                                                       {"deny", Consent::Deny},
                                                       {"partial", Consent::Partial}};
  const auto found = names.find(name);
  if (found == names.end()) throw std::invalid_argument("consent must be ask, allow, deny or partial");
  return found->second;
}

}  // namespace

bool ControlService::serves(const Request& request) {
  return request.path().starts_with(prefix);
}

Response ControlService::handle(const Request& request) {
  const auto what = request.method + " " + std::string(request.path().substr(prefix.size()));
  try {
    if (what == "GET faults") return faultList();
    if (what == "GET journal") return journalList();
    if (what == "POST faults") {
      addFaults(request);
    } else if (what == "POST consent") {
      setConsent(request);
    } else if (what == "POST id-token-claims") {
      oauth_.setIDTokenClaims(request.body);
    } else if (what == "DELETE faults") {
      faults_.clear();
    } else if (what == "DELETE journal") {
      journal_.clear();
    } else if (what == "POST release") {
      faults_.releaseHeld();
    } else if (what == "POST expire-tokens") {
      grants_.expireAccessTokens();
    } else if (what == "POST revoke") {
      grants_.revokeAll();
    } else {
      return problem(404, "the emulator has no control '" + what + "'");
    }
  } catch (const std::exception& error) {
    return problem(400, error.what());
  }
  return answer({{"ok", true}});
}

Response ControlService::faultList() const {
  auto list = ordered_json::array();
  for (const auto& entry : faults_.remaining()) {
    list.push_back({{"operation", entry.operation}, {"description", entry.fault.description()}});
  }
  return answer({{"remaining", list}});
}

Response ControlService::journalList() const {
  auto list = ordered_json::array();
  for (const auto& entry : journal_.entries()) list.push_back(asJSON(entry));
  return answer({{"count", journal_.count()}, {"requests", list}});
}

void ControlService::addFaults(const Request& request) {
  for (auto& [operation, fault] : faultsFromJSON(request.body)) faults_.add(operation, std::move(fault));
}

void ControlService::setConsent(const Request& request) {
  const auto body = nlohmann::json::parse(request.body, nullptr, false);
  if (!body.is_object()) throw std::invalid_argument("consent must be a JSON object");
  oauth_.setConsent(consentFrom(body.value("consent", "")), body.value("account", ""));
}

}  // namespace corvane::emulator
