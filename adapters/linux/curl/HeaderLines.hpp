#pragma once

#include <Corvane/Data.hpp>

#include <curl/curl.h>

#include <cstddef>
#include <string_view>
#include <vector>

namespace corvane {

/// The header lines of one request as libcurl takes them: a linked list, which it reads and does
/// not copy.
///
/// One of the lines is the bearer, so all of them are wiped when they go.
class HeaderLines {
 public:
  /// "Name: value", or libcurl's way to send a header without a value. Throws std::bad_alloc;
  /// likewise below.
  void add(std::string_view name, std::string_view value);
  void addBearer(std::string_view token);
  /// A line as it stands.
  void addLine(std::string_view line);

  /// The lines in their order; valid until the next call of another member.
  curl_slist* list();

 private:
  void append(std::string_view text) { text_.insert(text_.end(), text.begin(), text.end()); }
  void endLine();

  std::vector<char, WipingAllocator<char>> text_;  // each line ends in a zero
  std::vector<std::size_t> ends_;
  std::vector<curl_slist> nodes_;
};

}  // namespace corvane
