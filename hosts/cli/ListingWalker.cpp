#include "ListingWalker.hpp"

namespace corvane::cli {
namespace {

Failure repeatedToken() {
  Failure failure;
  failure.exitCode = exitCode(ErrorKind::invalidResponse);
  failure.kind = kindName(ErrorKind::invalidResponse);
  failure.headline = "The listing was stopped: the server repeated a page token.";
  failure.why = "Following it would list the same files again and again.";
  failure.remedy = "List the files again from the first page.";
  return failure;
}

}  // namespace

ListingWalker::ListingWalker(RequestPage requestPage, std::optional<std::string> firstToken,
                             std::optional<std::size_t> maxPages, Interrupt& interrupt)
    : requestPage_(std::move(requestPage)),
      interrupt_(interrupt),
      pagesLeft_(maxPages),
      token_(std::move(firstToken)) {
  if (token_) seen_.insert(std::hash<std::string>()(*token_));
}

void ListingWalker::request() {
  pending_.emplace(requestPage_(token_));
}

std::optional<FilesPage> ListingWalker::next() {
  if (repeated_) throw repeatedToken();
  if (atEnd_ || pagesLeft_ == std::size_t{0}) return std::nullopt;
  if (!pending_) request();
  if (pending_->wait(interrupt_) == Pending<FilesPage>::Wake::interrupted) throw Interrupted();
  FilesPage page = pending_->take();
  pending_.reset();

  if (pagesLeft_) --*pagesLeft_;
  token_ = page.nextPageToken();
  if (!token_) {
    atEnd_ = true;
  } else if (!seen_.insert(std::hash<std::string>()(*token_)).second) {
    repeated_ = true;
  } else if (pagesLeft_ != std::size_t{0}) {
    request();
  }
  return page;
}

}  // namespace corvane::cli
