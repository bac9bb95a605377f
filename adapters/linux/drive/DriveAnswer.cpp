#include "DriveAnswer.hpp"

#include "DriveErrors.hpp"

#include <optional>

namespace corvane {
namespace {

using AnswerResult = Result<GTLRObject, NSError>;

template <class Object>
std::optional<GTLRObject> wrapped(std::optional<Object> object) {
  if (!object) return std::nullopt;
  return GTLRObject(*std::move(object));
}

std::optional<GTLRObject> parsed(const Data& body, DriveCall::Answer expected, const DriveParser& parser) {
  switch (expected) {
    case DriveCall::Answer::about:
      return wrapped(parser.about(body));
    case DriveCall::Answer::fileList:
      return wrapped(parser.fileList(body));
    case DriveCall::Answer::file:
      return wrapped(parser.file(body));
    case DriveCall::Answer::nothing:
      break;
  }
  // Only whether it is an object matters; what is in it does not.
  return parser.file(body) ? std::optional<GTLRObject>(std::in_place) : std::nullopt;
}

}  // namespace

AnswerResult readDriveAnswer(const HTTPResponse& response, DriveCall::Answer expected,
                             const DriveParser& parser, std::string_view host, std::string_view secret) {
  if (response.status < 200 || response.status > 299) {
    if (const auto error = parser.error(response.body))
      return AnswerResult::failure(googleError(*error, response.status, host, secret));
    return AnswerResult::failure(httpError(response.status, host));
  }
  if (response.body.empty()) return AnswerResult::success({});
  if (auto object = parsed(response.body, expected, parser)) return AnswerResult::success(*std::move(object));
  return AnswerResult::failure(notJSONError(host));
}

}  // namespace corvane
