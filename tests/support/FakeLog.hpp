#pragma once

#include <CorvanePlatform/Lumark.hpp>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace corvane::test {

/// Keeps every line with all that came along with it. Levels can be switched off; their messages are never
/// computed.
class FakeLog final : public Lumark {
 public:
  struct Line {
    std::string level;  // "error", "warning" or "extended"
    std::string category;
    std::string message;
    int context;
    bool asynchronous;
    std::string file;
  };

  void logError(const LogCategory& category, const Message& message, int context, bool asynchronous,
                std::string_view file) override {
    write("error", category, message, context, asynchronous, file);
  }
  void logWarning(const LogCategory& category, const Message& message, int context, bool asynchronous,
                  std::string_view file) override {
    write("warning", category, message, context, asynchronous, file);
  }
  void logExtended(const LogCategory& category, const Message& message, int context, bool asynchronous,
                   std::string_view file) override {
    write("extended", category, message, context, asynchronous, file);
  }

  void switchOff() { on_ = false; }

  std::vector<Line> lines() const {
    const std::lock_guard guard(mutex_);
    return lines_;
  }

  /// "level: message", one per line written.
  std::vector<std::string> messages() const {
    std::vector<std::string> texts;
    for (const auto& line : lines()) texts.push_back(line.level + ": " + line.message);
    return texts;
  }

 private:
  void write(std::string level, const LogCategory& category, const Message& message, int context,
             bool asynchronous, std::string_view file) {
    if (!on_) return;
    Line line{std::move(level), std::string(category.name()), message(), context, asynchronous,
              std::string(file)};
    const std::lock_guard guard(mutex_);
    lines_.push_back(std::move(line));
  }

  std::atomic<bool> on_{true};
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
};

}  // namespace corvane::test
