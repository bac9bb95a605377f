#pragma once

#include <utility>
#include <variant>

namespace corvane {

/// Either a value or the failure that stands in its place. A plain value; its parts are moved or copied with
/// it.
template <class Value, class Failure>
class Result {
 public:
  static Result success(Value value) { return Result(std::in_place_index<0>, std::move(value)); }
  static Result failure(Failure failure) { return Result(std::in_place_index<1>, std::move(failure)); }

  bool isSuccess() const noexcept { return state_.index() == 0; }
  explicit operator bool() const noexcept { return isSuccess(); }

  /// The value; throws std::bad_variant_access when this is a failure.
  const Value& value() const& { return std::get<0>(state_); }
  Value&& value() && { return std::get<0>(std::move(state_)); }
  /// The failure; throws std::bad_variant_access when this is a success.
  const Failure& error() const& { return std::get<1>(state_); }
  Failure&& error() && { return std::get<1>(std::move(state_)); }

 private:
  template <std::size_t Index, class Part>
  Result(std::in_place_index_t<Index> index, Part&& part) : state_(index, std::forward<Part>(part)) {}

  std::variant<Value, Failure> state_;
};

}  // namespace corvane
