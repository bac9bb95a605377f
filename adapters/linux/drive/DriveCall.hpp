#pragma once

#include <Corvane/Data.hpp>
#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>
#include <CorvanePlatform/DriveQueries.hpp>

#include <string>
#include <string_view>

namespace corvane {

/// A query as it goes onto the wire, all but its signature.
struct DriveCall {
  /// What the answer's body is read as.
  enum class Answer { about, fileList, file, nothing };

  std::string method;
  std::string url;
  Data body;  // JSON, or empty for none
  Answer answer;
};

/// The call that a query makes. `baseURL` ends in a slash.
///
/// Errors: a query that must not be sent, in GTLRServiceErrorDomain with code -1: an update with content, a
/// file id that is empty, and a deletion of "trash", which is no file's id but Drive's name for emptying the
/// whole trash (files.emptyTrash).
Result<DriveCall, NSError> makeDriveCall(std::string_view baseURL, const GTLRDriveQuery& query);

}  // namespace corvane
