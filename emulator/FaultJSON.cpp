#include "FaultJSON.hpp"

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Operation.hpp"

namespace corvane::emulator {
namespace {

using nlohmann::json;

using Setter = std::function<void(Fault&, const json&)>;

/// A setter for the member, converted to the member's type.
template <class Member>
Setter to(Member Fault::*member) {
  return [member](Fault& fault, const json& value) { fault.*member = value.get<Member>(); };
}

template <class Value>
Setter to(std::optional<Value> Fault::*member) {
  return [member](Fault& fault, const json& value) { fault.*member = value.get<Value>(); };
}

Setter to(std::chrono::milliseconds Fault::*member) {
  return [member](Fault& fault, const json& value) {
    fault.*member = std::chrono::milliseconds(value.get<std::int64_t>());
  };
}

void setHeaders(Fault& fault, const json& value) {
  for (const auto& [name, text] : value.items()) fault.headers.emplace_back(name, text.get<std::string>());
}

void setFraming(Fault& fault, const json& value) {
  static const std::map<std::string, Framing> names = {{"content-length", Framing::ContentLength},
                                                       {"chunked", Framing::Chunked},
                                                       {"broken-chunks", Framing::BrokenChunks},
                                                       {"until-close", Framing::UntilClose}};
  const auto found = names.find(value.get<std::string>());
  if (found == names.end()) throw std::invalid_argument("unknown framing");
  fault.framing = found->second;
}

const std::map<std::string, Setter>& setters() {
  static const std::map<std::string, Setter> table = {
      {"status", to(&Fault::status)},
      {"reason", to(&Fault::reason)},
      {"message", to(&Fault::message)},
      {"body", to(&Fault::body)},
      {"contentType", to(&Fault::contentType)},
      {"headers", setHeaders},
      {"raw", to(&Fault::raw)},
      {"hugeBody", to(&Fault::hugeBody)},
      {"performed", to(&Fault::performed)},
      {"delay", to(&Fault::delay)},
      {"hold",
       [](Fault& fault, const json& value) {
         if (value.get<bool>()) fault.gate = std::make_shared<Gate>();
       }},
      {"gateAfter", to(&Fault::gateAfter)},
      {"slowBytes", to(&Fault::slowBytes)},
      {"slowInterval", to(&Fault::slowInterval)},
      {"reset",
       [](Fault& fault, const json& value) {
         if (value.get<bool>()) fault.resetAfter = 0;
       }},
      {"resetAfter", to(&Fault::resetAfter)},
      {"closeAfterBody", to(&Fault::closeAfterBody)},
      {"lengthDelta", to(&Fault::lengthDelta)},
      {"uncompressed", to(&Fault::uncompressed)},
      {"corruptGzip", to(&Fault::corruptGzip)},
      {"endlessHeaders", to(&Fault::endlessHeaders)},
      {"interim", to(&Fault::interim)},
      {"framing", setFraming},
      {"closeInsteadOfAnswer", to(&Fault::closeInsteadOfAnswer)},
      {"closeAfterAnswer", to(&Fault::closeAfterAnswer)},
  };
  return table;
}

void setMember(Fault& fault, const std::string& name, const json& value) {
  const auto found = setters().find(name);
  if (found == setters().end()) throw std::invalid_argument("a fault has no member '" + name + "'");
  try {
    found->second(fault, value);
  } catch (const json::exception&) {
    throw std::invalid_argument("the fault's member '" + name + "' has a value of the wrong kind");
  }
}

void setMembers(Fault& fault, const json& object) {
  if (!object.is_object()) throw std::invalid_argument("a fault must be a JSON object");
  for (const auto& [name, value] : object.items()) setMember(fault, name, value);
}

void addEntries(std::vector<FaultList::Entry>& entries, const json& object) {
  if (!object.is_object()) throw std::invalid_argument("a fault must be a JSON object");
  FaultList::Entry entry{"*", {}};
  std::size_t times = 1;
  for (const auto& [name, value] : object.items()) {
    if (name == "operation" && value.is_string()) {
      entry.operation = value.get<std::string>();
    } else if (name == "times" && value.is_number_unsigned()) {
      times = value.get<std::size_t>();
    } else if (name == "fault") {
      setMembers(entry.fault, value);
    } else {
      setMember(entry.fault, name, value);
    }
  }
  if (entry.operation != "*" && !isOperation(entry.operation)) {
    throw std::invalid_argument("no operation is called '" + entry.operation + "'");
  }
  entries.insert(entries.end(), times, entry);
}

}  // namespace

std::vector<FaultList::Entry> faultsFromJSON(std::string_view text) {
  const auto document = json::parse(text, nullptr, false);
  if (document.is_discarded()) throw std::invalid_argument("the faults are no JSON");
  std::vector<FaultList::Entry> entries;
  if (document.is_array()) {
    for (const auto& object : document) addEntries(entries, object);
  } else {
    addEntries(entries, document);
  }
  return entries;
}

}  // namespace corvane::emulator
