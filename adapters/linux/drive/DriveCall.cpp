#include "DriveCall.hpp"

#include "DriveErrors.hpp"
#include "FileBody.hpp"
#include "URLEncoding.hpp"

namespace corvane {
namespace {

/// A URL that grows by one parameter at a time, in the order in which they are added.
class URLWriter {
 public:
  URLWriter(std::string_view baseURL, std::string_view path) {
    url_.reserve(usualLength);
    url_ += baseURL;
    url_ += path;
  }

  void parameter(std::string_view name, std::string_view value) {
    url_ += separator_;
    url_ += name;
    url_ += '=';
    appendParameter(url_, value);
    separator_ = '&';
  }
  void parameterUnlessEmpty(std::string_view name, std::string_view value) {
    if (!value.empty()) parameter(name, value);
  }

  /// Google indents its JSON unless told not to, which makes a page an eighth larger.
  std::string finish() && {
    parameter("prettyPrint", "false");
    return std::move(url_);
  }

 private:
  static constexpr std::size_t usualLength = 512;  // a page token may need more

  std::string url_;
  char separator_ = '?';
};

using CallResult = Result<DriveCall, NSError>;

CallResult makeCall(std::string_view baseURL, const GTLRDriveQuery_AboutGet& query) {
  URLWriter url(baseURL, "about");
  url.parameterUnlessEmpty("fields", query.fields);
  return CallResult::success({"GET", std::move(url).finish(), {}, DriveCall::Answer::about});
}

CallResult makeCall(std::string_view baseURL, const GTLRDriveQuery_FilesList& query) {
  URLWriter url(baseURL, "files");
  url.parameterUnlessEmpty("fields", query.fields);
  url.parameterUnlessEmpty("q", query.q);
  if (query.pageToken) url.parameter("pageToken", *query.pageToken);
  if (query.pageSize) url.parameter("pageSize", std::to_string(*query.pageSize));
  url.parameterUnlessEmpty("corpora", query.corpora);
  return CallResult::success({"GET", std::move(url).finish(), {}, DriveCall::Answer::fileList});
}

CallResult makeCall(std::string_view baseURL, const GTLRDriveQuery_FilesDelete& query) {
  if (query.fileId.empty()) return CallResult::failure(refusedQuery("The file to delete has an empty id."));
  if (query.fileId == "trash")
    return CallResult::failure(
        refusedQuery("“trash” is no file’s id: deleting it would empty the whole trash."));
  URLWriter url(baseURL, "files/" + encodedSegment(query.fileId));
  return CallResult::success({"DELETE", std::move(url).finish(), {}, DriveCall::Answer::nothing});
}

CallResult makeCall(std::string_view baseURL, const GTLRDriveQuery_FilesUpdate& query) {
  if (query.fileId.empty()) return CallResult::failure(refusedQuery("The file to update has an empty id."));
  if (query.uploadParameters)
    return CallResult::failure(refusedQuery("Sending content with a file’s update is not supported."));
  URLWriter url(baseURL, "files/" + encodedSegment(query.fileId));
  if (query.supportsAllDrives)
    url.parameter("supportsAllDrives", *query.supportsAllDrives ? "true" : "false");
  return CallResult::success(
      {"PATCH", std::move(url).finish(), fileBody(query.object), DriveCall::Answer::file});
}

}  // namespace

CallResult makeDriveCall(std::string_view baseURL, const GTLRDriveQuery& query) {
  return std::visit([baseURL](const auto& q) { return makeCall(baseURL, q); }, query);
}

}  // namespace corvane
