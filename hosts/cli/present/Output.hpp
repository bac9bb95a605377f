#pragma once

#include <string>
#include <string_view>

namespace corvane::cli {

/// Thrown when nobody reads the output any more (`corvane ls | head`): a reason to stop, not to complain.
struct OutputClosed {};

/// Standard output: buffered, and honest about what it could not write, which std::cout is not.
///
/// Throws a Failure when writing fails (a full disk), OutputClosed when the reader is gone, and Interrupted when
/// Ctrl-C comes while the reader is slow. SIGPIPE must be ignored.
class Output {
 public:
  /// `interruptDescriptor` becomes readable when writing is to end; -1 for none.
  Output(int descriptor, int interruptDescriptor)
      : descriptor_(descriptor), interrupt_(interruptDescriptor) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Throws a Failure when nothing can ever be written. Every command has something to say, so that
  /// one that cannot must not begin.
  void requireOpen() const;

  void line(std::string_view text);
  void text(std::string_view text);
  /// Brings everything out. Nothing is flushed on destruction, where a failure could not be told.
  void flush();
  /// Writes a line that tells of something done for good. A Failure repeats it, so that it is not
  /// lost.
  void lineOfDeed(std::string_view text);

 private:
  void waitUntilWritable() const;

  int descriptor_;
  int interrupt_;
  std::string buffer_;
};

}  // namespace corvane::cli
