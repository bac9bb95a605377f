#include "FaultMix.hpp"

namespace corvane::soak {
namespace {

using emulator::Fault;
using namespace std::chrono_literals;

constexpr unsigned oneIn = 20;  // 5 %

Fault with(void (*change)(Fault&)) {
  Fault fault;
  change(fault);
  return fault;
}

// What is never tried again (damaged gzip, a document cut short) ends its listing, which then begins anew; it is
// rare, so that listings get through.
std::vector<FaultMix::Kind> everyKind() {
  constexpr int often = 8;
  constexpr int rarely = 1;
  return {
      {"503", Fault::error(503, "backendError"), often},
      {"429", Fault::error(429, "rateLimitExceeded"), often},
      {"403 rate limit", Fault::error(403, "userRateLimitExceeded"), often},
      {"500", Fault::error(500, "internalError"), often},
      {"502 HTML", Fault::html(502), often},
      {"401", Fault::unauthorized(), often},
      {"reset before the answer", Fault::resetAfterBytes(0), often},
      {"reset in the headers", Fault::resetAfterBytes(60), often},
      {"reset in the body", Fault::resetAfterBytes(6'000), often},
      {"closed without an answer", Fault::closeWithoutAnswer(), often},
      {"closed in the body", Fault::closeAfterBodyBytes(3'000), often},
      {"shorter than announced", with([](Fault& f) { f.lengthDelta = 100; }), often},
      {"broken chunks", with([](Fault& f) { f.framing = emulator::Framing::BrokenChunks; }), often},
      {"closed after the answer", with([](Fault& f) { f.closeAfterAnswer = true; }), often},
      {"late", with([](Fault& f) { f.delay = 300ms; }), often},
      {"slow", Fault::slow(8'192, 20ms), often},
      {"interim answers", with([](Fault& f) {
         f.interim = {103, 103};
       }),
       often},
      {"corrupt gzip", with([](Fault& f) { f.corruptGzip = true; }), rarely},
      {"document cut short", Fault::content(R"({"files":[{"id":"half)", "application/json"), rarely},
      {"sign-in page", Fault::content("<html>"), rarely},
  };
}

}  // namespace

FaultMix::FaultMix(unsigned seed) : random_(seed), kinds_(everyKind()) {
  for (const auto& kind : kinds_) weights_ += kind.weight;
}

Fault FaultMix::next() {
  if (random_() % oneIn != 0) return {};
  auto rest = static_cast<int>(random_() % static_cast<unsigned>(weights_));
  auto kind = kinds_.begin();
  while (rest >= kind->weight) rest -= (kind++)->weight;
  ++kind->drawn;
  return kind->fault;
}

}  // namespace corvane::soak
