#pragma once

#include "Pending.hpp"

#include <Corvane/FilesPage.hpp>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <unordered_set>

namespace corvane::cli {

/// Walks the pages of a listing, front to back. While a page is being used the next one is on its way: one page ahead
/// and no more, so that memory stays the same however long the listing is.
///
/// Not for use from two threads at once. Dropping it cancels the request under way.
class ListingWalker {
 public:
  using RequestPage = std::function<AnyPublisher<FilesPage>(std::optional<std::string> pageToken)>;

  /// Begins at `firstToken`, or at the first page, and stops after `maxPages`, or after the last page. Nothing is
  /// requested before the first `next()`.
  ListingWalker(RequestPage requestPage, std::optional<std::string> firstToken,
                std::optional<std::size_t> maxPages, Interrupt& interrupt);

  /// The next page, or nothing after the last. Throws the page's error as an AnyError, Interrupted, or a Failure when
  /// the server repeats a page token, which would have no end.
  std::optional<FilesPage> next();

  /// The token of the first page not handed out: where to go on after a failure or after `maxPages`. Nothing when
  /// that is the very first page, or when there is none left.
  const std::optional<std::string>& resumeToken() const { return token_; }

 private:
  void request();

  RequestPage requestPage_;
  Interrupt& interrupt_;
  std::optional<std::size_t> pagesLeft_;
  std::optional<std::string> token_;
  bool atEnd_ = false;
  bool repeated_ = false;
  std::unordered_set<std::size_t> seen_;  // hashes of the tokens; a few bytes for each page of 500 files
  std::optional<Pending<FilesPage>> pending_;
};

}  // namespace corvane::cli
