#include "ErrorReport.hpp"

#include "Escape.hpp"
#include "JSONLines.hpp"

namespace corvane::cli {

std::string reportForPeople(const Failure& failure, const Style& style) {
  std::string report = style.bold(style.red("corvane: ")) + escapedProse(failure.headline) + "\n";
  if (!failure.why.empty()) report += "  Why: " + escapedProse(failure.why) + "\n";
  if (!failure.remedy.empty()) report += "  What to do: " + escapedProse(failure.remedy) + "\n";
  return report;
}

std::string reportInJSON(const Failure& failure) {
  return jsonObject([&failure](KeyedEncodingContainer& report) {
           report.encodeNested(CodingKey("error"), [&failure](Encoder& encoder) {
             const auto error = encoder.keyedContainer();
             const auto put = [&error](const char* key, const std::string& text) {
               if (!text.empty()) error->encode(std::string_view(text), CodingKey(key));
             };
             put("kind", failure.kind);
             put("domain", failure.domain);
             error->encode(failure.code, CodingKey("code"));
             const std::string& message = failure.message.empty() ? failure.headline : failure.message;
             put("message", message);
             if (failure.why != message) put("failureReason", failure.why);
             put("recoverySuggestion", failure.remedy);
             put("id", failure.fileID);
           });
         }) +
         "\n";
}

}  // namespace corvane::cli
