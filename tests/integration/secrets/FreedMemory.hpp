#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::test {

/// Reads every block of memory as it is given back, in search of secrets.
///
/// This executable's own `free` and `realloc` stand in for the C library's, for all libraries that it loads, and
/// `operator delete` comes down to `free`. So nothing that lay in the heap escapes, whoever put it there. What lies on
/// stacks, in mapped files and in memory that is still in use is not looked at.
class FreedMemory {
 public:
  /// Looks for the secret from now on, as it stands and in pieces of 12 bytes, so that a cut-off copy is found too.
  /// At most 24 secrets, of 256 bytes each. Any thread.
  static void plant(std::string_view name, std::string_view secret);

  /// Blocks with this text are nobody's business. To be called once, before anything else.
  static void overlookBlocksWith(std::string_view text);

  /// Where secrets were found since the last time, a line each: which secret, the block's size, and who freed it.
  static std::vector<std::string> findings();
};

}  // namespace corvane::test
