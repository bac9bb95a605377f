#pragma once

#include <Corvane/Data.hpp>

#include <optional>

namespace corvane {

/// A copy of a JSON body in which the values that cannot be represented are replaced: a lone surrogate by U+FFFD,
/// a number beyond 64 bits, or beyond doubles, by null. Nothing when the body has no such value.
///
/// simdjson refuses a whole document for one of them, but a page must not be lost for one file's name or size.
/// (RFC 8259 leaves both to the reader: sections 6 and 8.2.) The body need not be valid JSON; whatever else is wrong
/// with it stays as it is. The copy has `HTTPResponse::padding` bytes behind it.
///
/// Errors: std::bad_alloc. Cost: one pass over the body, and only after simdjson has refused it.
std::optional<Data> repairedJSON(const Data& body);

}  // namespace corvane
