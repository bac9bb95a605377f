#pragma once

#include <Corvane/Data.hpp>

#include <algorithm>
#include <cstddef>
#include <string_view>

/// Documents with secrets, made fit for nlohmann-json's parser.
///
/// The problem: its lexer keeps the token that it reads for error messages, in a vector which it neither wipes nor
/// lets anybody reach; so the last text of a document, and the beginning of every text that made the vector grow,
/// would stay behind in the heap. The idea: the document is read as the first of two elements of a list. The blanks
/// before it make the vector as large as it can ever get while nothing secret is in it; the second element, a text of
/// blanks, overwrites what it held. A document that closes the list, or adds to it, does not get away with it: the list
/// must have just two elements, and a text that is left open takes the closing quote for its own.
/// The cost: a copy of the document. One that is malformed is not covered: its last token shows in the library's
/// message, which is thrown away unwiped.
namespace corvane {

/// `[`, blanks, the document, `,"`, blanks, `"]`.
class BetweenBlanks {
 public:
  explicit BetweenBlanks(std::string_view document) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";  // may be ignored (RFC 8259 section 8.1)
    if (document.starts_with(byteOrderMark)) skipped_ = byteOrderMark.size();
    document.remove_prefix(skipped_);
    size_ = document.size();
    bytes_.reserve(3 * size_ + 5);
    append("[");
    bytes_.resize(bytes_.size() + size_, std::byte{' '});
    append(document);
    append(",\"");
    bytes_.resize(bytes_.size() + size_, std::byte{' '});
    append("\"]");
  }

  std::string_view text() const { return textView(bytes_); }

  /// Where in the document a place in the list is; its end for all behind it.
  std::size_t placeInDocument(std::size_t place) const {
    return skipped_ + std::min(place - std::min(place, 1 + size_), size_ + 1);
  }

 private:
  void append(std::string_view text) {
    const auto* begin = reinterpret_cast<const std::byte*>(text.data());
    bytes_.insert(bytes_.end(), begin, begin + text.size());
  }

  Data bytes_;
  std::size_t size_ = 0;
  std::size_t skipped_ = 0;
};

}  // namespace corvane
