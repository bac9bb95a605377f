#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace corvane {

template <class Signature>
class UniqueFunction;

/// A move-only callable, for work and handlers that own what they will hand on.
///
/// Empty until it is given a target; calling an empty one is undefined. It may be moved between threads, and
/// is called by one at a time. Exceptions of the target pass through.
template <class Result, class... Arguments>
class UniqueFunction<Result(Arguments...)> {
 public:
  UniqueFunction() = default;
  UniqueFunction(std::nullptr_t) {}

  template <class Target>
  requires(!std::is_same_v<std::remove_cvref_t<Target>, UniqueFunction> &&
           std::is_invocable_r_v<Result, std::decay_t<Target>&, Arguments...>) UniqueFunction(Target&& target)
      : callable_(std::make_unique<Callable<std::decay_t<Target>>>(std::forward<Target>(target))) {}

  explicit operator bool() const noexcept { return callable_ != nullptr; }

  Result operator()(Arguments... arguments) const {
    return callable_->call(std::forward<Arguments>(arguments)...);
  }

 private:
  struct CallableBase {
    virtual ~CallableBase() = default;
    virtual Result call(Arguments... arguments) = 0;
  };

  template <class Target>
  struct Callable final : CallableBase {
    template <class T>
    explicit Callable(T&& t) : target(std::forward<T>(t)) {}
    Result call(Arguments... arguments) override { return target(std::forward<Arguments>(arguments)...); }
    Target target;
  };

  std::unique_ptr<CallableBase> callable_;
};

}  // namespace corvane
