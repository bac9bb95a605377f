#include "spdlog/SpdlogLog.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

#include "spdlog/LogLine.hpp"

namespace corvane {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr LogCategory category("Test");

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::vector<std::string> linesOf(std::FILE* file) {
  std::rewind(file);
  std::vector<std::string> lines(1);
  for (int character = std::fgetc(file); character != EOF; character = std::fgetc(file)) {
    if (character == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += static_cast<char>(character);
    }
  }
  EXPECT_EQ(lines.back(), "") << "the last line has no end";
  lines.pop_back();
  return lines;
}

// A log on a file; dropping the log brings all lines out.
class SpdlogLogTest : public ::testing::Test {
 protected:
  void open(LogLevel level) { log = std::make_unique<SpdlogLog>(level, file.get()); }
  void error(const Lumark::Message& message) { log->logError(category, message, 0, true, "File"); }
  void warning(const Lumark::Message& message) { log->logWarning(category, message, 0, true, "File"); }
  void extended(const Lumark::Message& message) { log->logExtended(category, message, 0, true, "File"); }
  std::vector<std::string> lines() {
    log.reset();
    return linesOf(file.get());
  }

  File file{std::tmpfile()};
  std::unique_ptr<SpdlogLog> log;
};

Lumark::Message saying(std::string text) {
  return [text = std::move(text)] { return text; };
}

TEST_F(SpdlogLogTest, WritesTimeLevelCategoryAndMessageOnALineEach) {
  open(LogLevel::verbose);
  error(saying("one"));
  warning(saying("two"));
  extended(saying("three"));
  const std::string time = "[0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+\\.[0-9]+[+-][0-9]+:[0-9]+ ";
  EXPECT_THAT(lines(),
              ElementsAre(MatchesRegex(time + "error Test: one"), MatchesRegex(time + "warning Test: two"),
                          MatchesRegex(time + "debug Test: three")));
}

TEST_F(SpdlogLogTest, MakesNoMessageOfALevelThatIsNotWritten) {
  const Lumark::Message never = [] {
    ADD_FAILURE() << "made although not written";
    return std::string();
  };
  open(LogLevel::off);
  error(never);
  warning(never);
  extended(never);
  EXPECT_THAT(lines(), IsEmpty());
  open(LogLevel::error);
  warning(never);
  extended(never);
  EXPECT_THAT(lines(), IsEmpty());
  open(LogLevel::warning);
  extended(never);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(SpdlogLogTest, MakesAMessageOnceOnTheCallersThreadBeforeItReturns) {
  open(LogLevel::verbose);
  std::vector<std::thread::id> made;
  error([&made] {
    made.push_back(std::this_thread::get_id());
    return std::string("text");
  });
  EXPECT_THAT(made, ElementsAre(std::this_thread::get_id()));
}

TEST_F(SpdlogLogTest, TakesAMessageThatLogs) {
  open(LogLevel::verbose);
  error([this] {
    warning(saying("inner"));
    return std::string("outer");
  });
  EXPECT_THAT(lines(), ElementsAre(EndsWith("inner"), EndsWith("outer")));
}

TEST_F(SpdlogLogTest, WritesThatAMessageCouldNotBeMade) {
  open(LogLevel::error);
  error([]() -> std::string { throw std::runtime_error("no\nluck"); });
  error([]() -> std::string { throw 7; });
  EXPECT_THAT(lines(),
              ElementsAre(EndsWith("error Test: (no message: no\\nluck)"), EndsWith("Test: (no message)")));
}

TEST_F(SpdlogLogTest, KeepsAMessageOnItsLine) {
  open(LogLevel::error);
  error(saying("a\nb {} %v"));
  EXPECT_THAT(lines(), ElementsAre(EndsWith("Test: a\\nb {} %v")));
}

TEST_F(SpdlogLogTest, WritesEverythingThatWasLoggedFromSeveralThreadsBeforeItGoes) {
  open(LogLevel::error);
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([this] {
        for (int j = 0; j < 250; ++j) error(saying("line"));
      });
  }
  const auto written = lines();
  EXPECT_EQ(written.size(), 1000U);
  EXPECT_TRUE(
      std::all_of(written.begin(), written.end(), [](const auto& line) { return line.ends_with(": line"); }));
}

TEST_F(SpdlogLogTest, LosesTheOldestLinesAndSaysHowManyWhenItsStreamStalls) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const File reading(fdopen(ends[0], "r"));
  const File writing(fdopen(ends[1], "w"));
  auto stalled = std::make_unique<SpdlogLog>(LogLevel::error, writing.get(), 16);
  const std::string text(1000, 'x');
  for (int i = 0; i < 20'000; ++i) stalled->logError(category, saying(text), 0, true, "File");
  std::string last;
  std::jthread reader([&] {
    std::string line;
    for (int c = std::fgetc(reading.get()); c != EOF && c != 0; c = std::fgetc(reading.get())) {
      if (c != '\n') {
        line += static_cast<char>(c);
      } else {
        last = std::exchange(line, {});
      }
    }
  });
  stalled.reset();
  std::fputc(0, writing.get());
  std::fflush(writing.get());
  reader.join();
  EXPECT_THAT(last, MatchesRegex(".*warning log: [0-9]+ lines were lost because .*"));
}

TEST_F(SpdlogLogTest, SwallowsAStreamThatCannotBeWritten) {
  File closed(fopen("/dev/full", "w"));
  ASSERT_TRUE(closed);
  SpdlogLog(LogLevel::error, closed.get()).logError(category, saying("lost"), 0, false, "File");
}

std::string escaped(std::string_view text) {
  std::string line;
  appendEscaped(line, text);
  return line;
}

TEST(LogLine, KeepsTextInAnyScript) {
  EXPECT_EQ(escaped("caf\u00E9 \u4E2D \U0001F600 \\"), "caf\u00E9 \u4E2D \U0001F600 \\");
}

TEST(LogLine, EscapesWhatDrivesATerminalOrBreaksALine) {
  EXPECT_EQ(escaped("a\r\n\tb"), "a\\r\\n\\tb");
  EXPECT_EQ(escaped("\x1B[31m\x7F"), "\\u{1b}[31m\\u{7f}");
  EXPECT_EQ(escaped(std::string_view("\0", 1)), "\\u{0}");
  EXPECT_EQ(escaped("\u0085\u2028\u2029"), "\\u{85}\\u{2028}\\u{2029}");
}

TEST(LogLine, EscapesBytesThatAreNotUTF8) {
  EXPECT_EQ(escaped("\xFF"), "\\xff");
  EXPECT_EQ(escaped("a\xC3"), "a\\xc3");
  EXPECT_EQ(escaped("\xC0\xAF"), "\\xc0\\xaf");
  EXPECT_EQ(escaped("\xED\xA0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(escaped("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
  EXPECT_EQ(escaped("\xE0\x80\x80!"), "\\xe0\\x80\\x80!");
  EXPECT_EQ(escaped("\xC3(\xA9"), "\\xc3(\\xa9");
}

}  // namespace
}  // namespace corvane
