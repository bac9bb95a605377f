#pragma once

#include <Corvane/Data.hpp>

#include <simdjson.h>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace corvane {

/// simdjson parsers that wait for their next document.
///
/// A parser owns the memory that its document lives in, and making that memory anew for each page would cost
/// more than the parsing. One parser serves one document at a time; a few are kept, unless a large document
/// has swollen them. Threads: any.
class ParserPool {
 public:
  /// A document and the parser that it lives in, which goes back to the pool with it.
  class Document {
   public:
    Document(std::shared_ptr<ParserPool> pool, std::unique_ptr<simdjson::dom::parser> parser)
        : pool_(std::move(pool)), parser_(std::move(parser)) {}
    Document(Document&&) noexcept = default;
    Document& operator=(Document&&) = delete;
    ~Document() {
      if (parser_) pool_->giveBack(std::move(parser_));
    }

    /// The document's top, or nothing when it is no object; valid as long as this document.
    std::optional<simdjson::dom::object> parse(const Data& body);

   private:
    std::shared_ptr<ParserPool> pool_;
    std::unique_ptr<simdjson::dom::parser> parser_;
  };

  ParserPool();

  /// A document with a parser of the pool, which it keeps alive.
  static Document document(std::shared_ptr<ParserPool> pool);

 private:
  static constexpr std::size_t maximumIdle = 4;
  static constexpr std::size_t firstCapacity = 4096;  // bytes of document
  static constexpr std::size_t maximumKeptCapacity = std::size_t{2}
                                                     << 20;  // bytes of document; it takes ten times that

  std::unique_ptr<simdjson::dom::parser> take();
  void giveBack(std::unique_ptr<simdjson::dom::parser> parser) noexcept;

  std::mutex mutex_;
  std::vector<std::unique_ptr<simdjson::dom::parser>> idle_;
};

}  // namespace corvane
