#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Feeds kept inputs to a fuzz target, where libFuzzer is not at hand: for every compiler, in every test run.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

void replay(const std::filesystem::path& file) {
  std::fprintf(stderr, "%s\n", file.c_str());  // the last one named is the one that crashed
  std::ifstream stream(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  // A copy of just this size, so that AddressSanitizer notices a read behind its end.
  const std::vector<std::uint8_t> bytes(text.begin(), text.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t replayed = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      replay(entry.path());
      ++replayed;
    }
  }
  if (replayed == 0) std::fprintf(stderr, "There is nothing to replay.\n");
  return replayed == 0 ? 1 : 0;
}
