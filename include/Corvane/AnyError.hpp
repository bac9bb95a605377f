#pragma once

#include <Corvane/ErrorBridge.hpp>

#include <concepts>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace corvane {

/// Any error value, held cheaply: what synchronous operations throw and publishers deliver.
///
/// An immutable value; copies share one storage, never throw, and may be used from any thread. `as<T>()`
/// gives the typed value back, `nsError()` the view that every error has: domain, code, user info and
/// description.
class AnyError : public std::exception {
 public:
  /// Holds any type that has an error's name or its own domain (see ErrorBridge.hpp).
  template <class Error>
  requires(BridgedError<std::remove_cvref_t<Error>> && !std::is_same_v<std::remove_cvref_t<Error>, NSError>)
      AnyError(Error&& error)
      : storage_(std::make_shared<Typed<std::remove_cvref_t<Error>>>(std::forward<Error>(error))) {}

  /// An NSError that was made from a typed error becomes that error again.
  AnyError(const NSError& error);

  /// The error's platform view, by the one bridging rule.
  NSError nsError() const { return storage_->nsError(); }

  std::string domain() const { return nsError().domain(); }
  std::int64_t code() const { return nsError().code(); }
  std::string localizedDescription() const { return nsError().localizedDescription(); }

  /// The error as a `T`, looked for first here and then along the chain of underlying errors.
  template <class T>
  std::optional<T> as() const;

  /// Whether the error itself, not one underneath, is a `T`.
  template <class T>
  bool holds() const {
    return dynamic_cast<const Typed<T>*>(storage_.get()) != nullptr;
  }

  /// The localized description; valid as long as any copy of this error lives.
  const char* what() const noexcept override { return storage_->what(); }

 private:
  struct Storage {
    virtual ~Storage() = default;
    virtual NSError nsError() const = 0;
    const char* what() const noexcept {
      try {
        std::call_once(described, [this] { description = nsError().localizedDescription(); });
        return description.c_str();
      } catch (...) {
        return "error without a description";
      }
    }
    mutable std::once_flag described;
    mutable std::string description;
  };

  template <class Error>
  struct Typed final : Storage {
    template <class E>
    explicit Typed(E&& e) : error(std::forward<E>(e)) {}
    NSError nsError() const override;
    Error error;
  };

  friend class NSError;
  friend AnyError outOfMemory() noexcept;
  explicit AnyError(std::shared_ptr<const Storage> storage) : storage_(std::move(storage)) {}

  std::shared_ptr<const Storage> storage_;
};

template <class Error>
NSError AnyError::Typed<Error>::nsError() const {
  if constexpr (std::is_same_v<Error, NSError>) {
    return error;
  } else {
    NSError bridged = bridgeError(error);
    bridged.origin_ = std::make_shared<const AnyError>(error);
    return bridged;
  }
}

inline AnyError::AnyError(const NSError& error)
    : storage_(error.origin_ ? error.origin_->storage_ : std::make_shared<Typed<NSError>>(error)) {}

template <class T>
std::optional<T> AnyError::as() const {
  if constexpr (std::is_same_v<T, NSError>) return nsError();
  if (const auto* typed = dynamic_cast<const Typed<T>*>(storage_.get())) return typed->error;
  const NSError view = nsError();
  const AnyError* underlying = view.underlyingError();
  return underlying ? underlying->as<T>() : std::nullopt;
}

}  // namespace corvane
