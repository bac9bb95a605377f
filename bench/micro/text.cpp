// Text equality against comparing bytes, where that is enough, and against decomposing both texts, where it is not.
#include <CorvanePlatform/Text.hpp>

#include <benchmark/benchmark.h>
#include <utf8proc.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

const std::string plain = "Minutes of the meeting of the committee for garden affairs, 2024.pdf";
const std::string otherPlain = "Minutes of the meeting of the committee for garden affairs, 2025.pdf";
const std::string composed =
    "Compte rendu de la r\u00e9union du comit\u00e9 des f\u00eates, d\u00e9cembre 2024.pdf";
const std::string decomposed =
    "Compte rendu de la re\u0301union du comite\u0301 des fe\u0302tes, de\u0301cembre 2024.pdf";

template <class Equal>
void compare(benchmark::State& state, const std::string& left, const std::string& right, Equal equal) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(left.data());
    benchmark::DoNotOptimize(equal(left, right));
  }
}

bool sameBytes(const std::string& left, const std::string& right) {
  return left == right;
}

bool decomposedEqual(const std::string& left, const std::string& right) {
  const auto decompose = [](const std::string& text) {
    return std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)>(
        utf8proc_NFD(reinterpret_cast<const utf8proc_uint8_t*>(text.c_str())), &std::free);
  };
  return std::string_view(reinterpret_cast<const char*>(decompose(left).get())) ==
         std::string_view(reinterpret_cast<const char*>(decompose(right).get()));
}

void same(benchmark::State& state) {
  compare(state, plain, std::string(plain), corvane::textEqual);
}
BENCHMARK(same)->Name("equal texts of 68 bytes/corvane");
void sameFloor(benchmark::State& state) {
  compare(state, plain, std::string(plain), sameBytes);
}
BENCHMARK(sameFloor)->Name("equal texts of 68 bytes/floor");

void different(benchmark::State& state) {
  compare(state, plain, otherPlain, corvane::textEqual);
}
BENCHMARK(different)->Name("unequal ASCII texts/corvane");
void differentFloor(benchmark::State& state) {
  compare(state, plain, otherPlain, sameBytes);
}
BENCHMARK(differentFloor)->Name("unequal ASCII texts/floor");

void equivalent(benchmark::State& state) {
  compare(state, composed, decomposed, corvane::textEqual);
}
BENCHMARK(equivalent)->Name("composed and decomposed texts/corvane");
void equivalentFloor(benchmark::State& state) {
  compare(state, composed, decomposed, decomposedEqual);
}
BENCHMARK(equivalentFloor)->Name("composed and decomposed texts/floor");

}  // namespace
