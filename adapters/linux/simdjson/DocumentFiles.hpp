#pragma once

#include "ParserPool.hpp"

#include <CorvanePlatform/DriveObjects.hpp>

#include <simdjson.h>

namespace corvane {

/// The files of a list that stays in its parsed document, from where each is read when it is visited.
///
/// As long as it lives it keeps the document's parser from the pool.
class DocumentFiles final : public GTLRDrive_Files {
 public:
  /// `entries` is in the document.
  DocumentFiles(ParserPool::Document document, simdjson::dom::array entries)
      : document_(std::move(document)), entries_(entries) {}

  std::size_t size() const override { return entries_.size(); }
  void forEach(const Visitor& visit) const override;

 private:
  ParserPool::Document document_;
  simdjson::dom::array entries_;
};

}  // namespace corvane
