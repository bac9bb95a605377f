#include "ParserPool.hpp"

#include "JSONRepair.hpp"

#include <new>

namespace corvane {

namespace {

simdjson::error_code parseInto(simdjson::dom::object& object, simdjson::dom::parser& parser,
                               const Data& body) {
  // simdjson reads, and ignores, a few bytes behind the body; HTTPClient allocates them, so that no copy is
  // needed.
  const bool padded = body.capacity() - body.size() >= simdjson::SIMDJSON_PADDING;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(body.data());
  const auto error = parser.parse(bytes, body.size(), !padded).get(object);
  if (error == simdjson::MEMALLOC) throw std::bad_alloc();
  return error;
}

/// Whether it is what simdjson says of a value that only cannot be represented.
bool mayBeRepaired(simdjson::error_code error) {
  return error == simdjson::STRING_ERROR || error == simdjson::NUMBER_ERROR;
}

}  // namespace

std::optional<simdjson::dom::object> ParserPool::Document::parse(const Data& body) {
  if (body.empty()) return std::nullopt;
  simdjson::dom::object object;
  auto error = parseInto(object, *parser_, body);
  if (mayBeRepaired(error))
    if (const auto repaired = repairedJSON(body)) error = parseInto(object, *parser_, *repaired);
  if (error) return std::nullopt;
  return object;
}

ParserPool::ParserPool() {
  idle_.reserve(maximumIdle);
  // simdjson picks the code for this processor at its first use, in a place where it cannot report that memory ran
  // out; so that is now, not over an answer.
  auto parser = std::make_unique<simdjson::dom::parser>();
  if (parser->allocate(firstCapacity) == simdjson::SUCCESS) idle_.push_back(std::move(parser));
}

ParserPool::Document ParserPool::document(std::shared_ptr<ParserPool> pool) {
  auto parser = pool->take();
  return Document(std::move(pool), std::move(parser));
}

std::unique_ptr<simdjson::dom::parser> ParserPool::take() {
  {
    const std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      auto parser = std::move(idle_.back());
      idle_.pop_back();
      return parser;
    }
  }
  return std::make_unique<simdjson::dom::parser>();
}

void ParserPool::giveBack(std::unique_ptr<simdjson::dom::parser> parser) noexcept {
  if (parser->capacity() > maximumKeptCapacity) return;
  const std::lock_guard lock(mutex_);
  if (idle_.size() < maximumIdle) idle_.push_back(std::move(parser));
}

}  // namespace corvane
