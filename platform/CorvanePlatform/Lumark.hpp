#pragma once

#include <Corvane/AnyError.hpp>

#include <functional>
#include <string>
#include <string_view>

namespace corvane {

/// What a log line is about; made once from a text literal.
class LogCategory {
 public:
  template <std::size_t Size>
  constexpr explicit LogCategory(const char (&literal)[Size]) : name_(literal, Size - 1) {}
  constexpr std::string_view name() const { return name_; }

 private:
  std::string_view name_;
};

/// The host's log.
///
/// Threads: any, also from several at once and from within a message.
/// Errors: none; a log that cannot be written is the log's own concern. `message` is called only if the line
/// is written, at most once and before the operation returns. `context` is a number that the host may sort
/// by, `asynchronous` says that the caller need not wait for the line to be out, and `file` names the source
/// that speaks.
class Lumark {
 public:
  using Message = std::function<std::string()>;

  virtual ~Lumark() = default;
  virtual void logError(const LogCategory& category, const Message& message, int context, bool asynchronous,
                        std::string_view file) = 0;
  virtual void logWarning(const LogCategory& category, const Message& message, int context, bool asynchronous,
                          std::string_view file) = 0;
  /// The verbose level.
  virtual void logExtended(const LogCategory& category, const Message& message, int context,
                           bool asynchronous, std::string_view file) = 0;
};

/// How the log describes an error.
inline std::string logDescription(const AnyError& error) {
  return error.localizedDescription();
}

}  // namespace corvane
