#pragma once

#include <CorvaneLinux/LinuxPlatform.hpp>
#include <CorvanePlatform/Lumark.hpp>

#include <cstddef>
#include <cstdio>
#include <memory>

namespace corvane {

/// A log on a stream, standard error by default: one line per message with time, level, category and text.
///
/// Lifetime: the stream must outlive it. Dropping it writes what is still queued, and so waits for the stream. The
/// thread that writes starts with the first line; a log that is never written to has none.
/// Threads: any; a message is made on the caller's thread, outside of any lock, and may itself log.
/// Errors: none reach the caller. When the stream stalls, `keptLines` are kept and the oldest are lost, because a
/// stopped terminal must not stop the program; their number is the last line written.
class SpdlogLog final : public Lumark {
 public:
  explicit SpdlogLog(LogLevel level, std::FILE* stream = stderr, std::size_t keptLines = 8192);
  ~SpdlogLog() override;

  void logError(const LogCategory& category, const Message& message, int context, bool asynchronous,
                std::string_view file) override;
  void logWarning(const LogCategory& category, const Message& message, int context, bool asynchronous,
                  std::string_view file) override;
  void logExtended(const LogCategory& category, const Message& message, int context, bool asynchronous,
                   std::string_view file) override;

 private:
  class Writer;

  void log(LogLevel level, const LogCategory& category, const Message& message) noexcept;

  const LogLevel level_;
  const std::unique_ptr<Writer> writer_;
};

}  // namespace corvane
