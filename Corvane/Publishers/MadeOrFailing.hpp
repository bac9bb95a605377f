#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/ExceptionErrors.hpp>

#include <memory>
#include <new>
#include <utility>

namespace corvane {

/// A publisher that fails each subscriber for want of memory, itself made without any.
template <class Value, class Failure>
AnyPublisher<Value, Failure> failingWithoutMemory() noexcept {
  // Outside the heap and never destroyed: a worker may subscribe at exit.
  using Failing = FailingPublisher<Value, Failure>;
  alignas(Failing) static unsigned char place[sizeof(Failing)];
  static const auto* const publisher = new (place) Failing(Failure(outOfMemory()));
  return AnyPublisher<Value, Failure>(
      std::shared_ptr<const Publisher<Value, Failure>>(std::shared_ptr<const void>(), publisher));
}

/// The publisher that `make` makes, or a failing one if there is no memory to make it: an operation
/// never throws.
template <class Value, class Failure, class Make>
AnyPublisher<Value, Failure> madeOrFailing(Make make) {
  try {
    return make();
  } catch (const std::bad_alloc&) {
    return failingWithoutMemory<Value, Failure>();
  }
}

}  // namespace corvane
