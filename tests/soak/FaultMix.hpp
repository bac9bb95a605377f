#pragma once

#include <CorvaneEmulator/Fault.hpp>
#include <random>
#include <string>
#include <vector>

namespace corvane::soak {

/// What goes wrong with a listing's requests: one in twenty, of a kind drawn by weight. The same seed gives the
/// same sequence.
class FaultMix {
 public:
  struct Kind {
    std::string name;
    emulator::Fault fault;
    int weight;
    std::size_t drawn = 0;
  };

  explicit FaultMix(unsigned seed);

  /// The next request's fault; most change nothing.
  emulator::Fault next();
  const std::vector<Kind>& kinds() const { return kinds_; }

 private:
  std::mt19937 random_;
  std::vector<Kind> kinds_;
  int weights_ = 0;
};

}  // namespace corvane::soak
