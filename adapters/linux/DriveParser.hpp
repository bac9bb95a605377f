#pragma once

#include <Corvane/Data.hpp>
#include <CorvanePlatform/DriveObjects.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// The error object that Google sends with a failure. What was left out, or sent as another kind, is empty.
/// (Google's reference: cloud.google.com/apis/design/errors, and the older `errors` list that Drive still
/// sends.)
struct DriveErrorObject {
  struct Item {
    std::string domain;
    std::string reason;
    std::string message;
    std::string location;
    std::string locationType;
    std::string extendedHelp;  // a link
  };
  struct Detail {
    std::string reason;
    std::string domain;
    std::string activationURL;  // where a service that is disabled is enabled
  };

  std::optional<std::int64_t> code;
  std::string message;
  std::string status;
  std::vector<Item> errors;
  std::vector<Detail> details;
};

/// Turns a body into a Drive object.
///
/// A member of the wrong kind counts as absent, the first of two members of one name counts, and nothing is
/// guessed. Lifetime: shared; results own what they hold. Threads: any, at once. Cancellation: none, it does
/// not wait. Errors: nothing is returned for a body that is no JSON document or whose top is no object;
/// std::bad_alloc when memory runs out.
///
/// The body should have `HTTPResponse::padding` bytes allocated behind it; without them it is copied first.
class DriveParser {
 public:
  virtual ~DriveParser() = default;

  virtual std::optional<GTLRDrive_About> about(const Data& body) const = 0;
  virtual std::optional<GTLRDrive_FileList> fileList(const Data& body) const = 0;
  virtual std::optional<GTLRDrive_File> file(const Data& body) const = 0;
  /// The object under the member `error`; nothing also when there is none.
  virtual std::optional<DriveErrorObject> error(const Data& body) const = 0;
};

}  // namespace corvane
