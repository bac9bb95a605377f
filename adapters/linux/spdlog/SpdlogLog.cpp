#include "spdlog/SpdlogLog.hpp"

#include "SignalsBlocked.hpp"
#include "spdlog/LogLine.hpp"

#include <spdlog/async_logger.h>
#include <spdlog/details/console_globals.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <pthread.h>

#include <exception>
#include <mutex>
#include <string>

namespace corvane {
namespace {

spdlog::level::level_enum spdlogLevel(LogLevel level) {
  switch (level) {
    case LogLevel::error:
      return spdlog::level::err;
    case LogLevel::warning:
      return spdlog::level::warn;
    case LogLevel::verbose:
      return spdlog::level::debug;
    case LogLevel::off:
      break;
  }
  return spdlog::level::off;
}

std::string composed(const LogCategory& category, const Lumark::Message& message) {
  std::string line(category.name());
  line += ": ";
  try {
    appendEscaped(line, message());
  } catch (const std::exception& error) {
    line += "(no message: ";
    appendEscaped(line, error.what());
    line += ')';
  } catch (...) {
    line += "(no message)";
  }
  return line;
}

}  // namespace

// The library's thread and logger. Both are made here and known to nobody else: the library's registry is the host's.
class SpdlogLog::Writer {
 public:
  Writer(std::FILE* stream, std::size_t keptLines) : stream_(stream), keptLines_(keptLines) {}
  ~Writer() {
    if (!pool_) return;
    if (const std::size_t lost = pool_->overrun_counter(); lost > 0)
      logger_->warn("log: {} lines were lost because the log could not be written in time", lost);
  }

  void write(LogLevel level, const std::string& line) {
    std::call_once(started_, [this] { start(); });
    logger_->log(spdlogLevel(level), spdlog::string_view_t(line.data(), line.size()));
  }

 private:
  using Sink = spdlog::sinks::stdout_sink_base<spdlog::details::console_mutex>;

  void start() {
    const SignalsBlocked signals;
    auto pool = std::make_shared<spdlog::details::thread_pool>(
        keptLines_, 1, [] { pthread_setname_np(pthread_self(), "corvane-log"); });
    logger_ = std::make_shared<spdlog::async_logger>("corvane", std::make_shared<Sink>(stream_), pool,
                                                     spdlog::async_overflow_policy::overrun_oldest);
    logger_->set_level(spdlog::level::trace);
    logger_->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %l %v");
    logger_->set_error_handler([](const std::string&) {});
    pool_ = std::move(pool);
  }

  std::FILE* stream_;
  std::size_t keptLines_;
  std::once_flag started_;
  std::shared_ptr<spdlog::async_logger> logger_;
  std::shared_ptr<spdlog::details::thread_pool>
      pool_;  // goes first: it writes the queue's rest and ends its thread
};

SpdlogLog::SpdlogLog(LogLevel level, std::FILE* stream, std::size_t keptLines)
    : level_(level), writer_(std::make_unique<Writer>(stream, keptLines)) {}
SpdlogLog::~SpdlogLog() = default;

void SpdlogLog::logError(const LogCategory& category, const Message& message, int, bool, std::string_view) {
  log(LogLevel::error, category, message);
}

void SpdlogLog::logWarning(const LogCategory& category, const Message& message, int, bool, std::string_view) {
  log(LogLevel::warning, category, message);
}

void SpdlogLog::logExtended(const LogCategory& category, const Message& message, int, bool,
                            std::string_view) {
  log(LogLevel::verbose, category, message);
}

void SpdlogLog::log(LogLevel level, const LogCategory& category, const Message& message) noexcept {
  if (level > level_) return;
  try {
    writer_->write(level, composed(category, message));
  } catch (...) {
    // No memory or no thread: this line is lost, the next one tries again.
  }
}

}  // namespace corvane
