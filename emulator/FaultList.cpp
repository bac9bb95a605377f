#include <CorvaneEmulator/FaultList.hpp>
#include <algorithm>
#include <stdexcept>

#include "Operation.hpp"

namespace corvane::emulator {

Fault Fault::error(int status, std::string reason, std::string message) {
  Fault fault;
  fault.status = status;
  fault.reason = std::move(reason);
  fault.message = std::move(message);
  return fault;
}

Fault Fault::html(int status, std::string markup) {
  Fault fault = content(std::move(markup));
  fault.status = status;
  return fault;
}

Fault Fault::empty(int status) {
  return html(status, "");
}

Fault Fault::content(std::string body, std::string contentType) {
  Fault fault;
  fault.body = std::move(body);
  fault.contentType = std::move(contentType);
  return fault;
}

Fault Fault::unauthorized() {
  return error(401, "authError", "Invalid Credentials");
}

Fault Fault::redirect(std::string location, int status) {
  return empty(status).withHeader("Location", std::move(location));
}

Fault Fault::rawBytes(std::string bytes) {
  Fault fault;
  fault.raw = std::move(bytes);
  return fault;
}

Fault Fault::resetAfterBytes(std::size_t bytes) {
  Fault fault;
  fault.resetAfter = bytes;
  return fault;
}

Fault Fault::closeAfterBodyBytes(std::size_t bytes) {
  Fault fault;
  fault.closeAfterBody = bytes;
  return fault;
}

Fault Fault::closeWithoutAnswer() {
  Fault fault;
  fault.closeInsteadOfAnswer = true;
  return fault;
}

Fault Fault::held(std::shared_ptr<Gate> gate) {
  Fault fault;
  fault.gate = std::move(gate);
  return fault;
}

Fault Fault::slow(std::size_t bytes, std::chrono::milliseconds interval) {
  Fault fault;
  fault.slowBytes = bytes;
  fault.slowInterval = interval;
  return fault;
}

bool Fault::replacesAnswer() const {
  return status || body || raw || hugeBody || closeInsteadOfAnswer || endlessHeaders;
}

std::string Fault::description() const {
  std::string text;
  const auto say = [&text](std::string_view words) {
    if (!text.empty()) text += ", ";
    text += words;
  };
  if (status) say("status " + std::to_string(*status) + (reason.empty() ? "" : " " + reason));
  if (body) say("a literal body");
  if (raw) say("raw bytes");
  if (hugeBody) say("a body of " + std::to_string(*hugeBody) + " bytes");
  if (delay.count() > 0) say("a delay");
  if (gate) say("held");
  if (slowBytes > 0) say("slow body");
  if (resetAfter) say("reset after " + std::to_string(*resetAfter) + " bytes");
  if (closeAfterBody) say("closed after " + std::to_string(*closeAfterBody) + " bytes of the body");
  if (lengthDelta != 0) say("wrong length");
  if (uncompressed) say("uncompressed");
  if (corruptGzip) say("corrupt gzip");
  if (endlessHeaders) say("endless headers");
  if (!interim.empty()) say("interim answers");
  if (framing != Framing::ContentLength) say("other framing");
  if (closeInsteadOfAnswer) say("closed without an answer");
  if (closeAfterAnswer) say("closed after the answer");
  return text.empty() ? "nothing" : text;
}

void FaultList::add(std::string operation, Fault fault) {
  add(std::move(operation), std::move(fault), 1);
}

void FaultList::add(std::string operation, Fault fault, std::size_t times) {
  if (operation != "*" && !isOperation(operation)) {
    throw std::invalid_argument("no operation is called '" + operation + "'");
  }
  const std::lock_guard lock(mutex_);
  if (fault.gate) gates_.push_back(fault.gate);
  entries_.insert(entries_.end(), times, {std::move(operation), std::move(fault)});
}

std::vector<FaultList::Entry> FaultList::remaining() const {
  const std::lock_guard lock(mutex_);
  return entries_;
}

std::string FaultList::description() const {
  std::string text;
  for (const auto& entry : remaining()) text += entry.operation + ": " + entry.fault.description() + "\n";
  return text;
}

void FaultList::clear() {
  const std::lock_guard lock(mutex_);
  entries_.clear();
}

void FaultList::releaseHeld() {
  std::vector<std::weak_ptr<Gate>> gates;
  {
    const std::lock_guard lock(mutex_);
    gates.swap(gates_);
  }
  for (const auto& gate : gates) {
    if (const auto held = gate.lock()) held->open();
  }
}

std::optional<Fault> FaultList::take(std::string_view operation) {
  const std::lock_guard lock(mutex_);
  const auto found = std::ranges::find_if(
      entries_, [&](const Entry& entry) { return entry.operation == "*" || entry.operation == operation; });
  if (found == entries_.end()) return std::nullopt;
  Fault fault = std::move(found->fault);
  entries_.erase(found);
  return fault;
}

}  // namespace corvane::emulator
