#pragma once

#include <Corvane/AnyError.hpp>

#include "CorvaneProvider.hpp"

#include <memory>
#include <optional>
#include <utility>

namespace corvane {

/// The provider as one running subscription holds it: strongly until its first request is issued, weakly
/// afterwards. So a subscribed operation starts although the host dropped the API object, and a request that
/// is out does not keep the object from stopping it.
///
/// Used by one attempt at a time.
class ProviderHold {
 public:
  explicit ProviderHold(std::shared_ptr<CorvaneProvider> provider)
      : weak_(provider), strong_(std::move(provider)) {}

  /// The provider, or null when it is gone.
  std::shared_ptr<CorvaneProvider> provider() const { return weak_.lock(); }
  bool isGone() const { return weak_.expired(); }

  /// Holds it weakly from now on; whoever issues the request holds it meanwhile.
  void weaken() { strong_.reset(); }

  /// The error of the latest attempt, with which a later one ends that finds the provider gone.
  void remember(AnyError error) { lastError_.emplace(std::move(error)); }
  const std::optional<AnyError>& lastError() const { return lastError_; }

 private:
  std::weak_ptr<CorvaneProvider> weak_;
  std::shared_ptr<CorvaneProvider> strong_;
  std::optional<AnyError> lastError_;
};

}  // namespace corvane
