#pragma once

#include <CorvanePlatform/Retry.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Publishers/Deferred.hpp"
#include "Publishers/Future.hpp"
#include "Publishers/HandleEvents.hpp"
#include "Publishers/MapError.hpp"
#include "Publishers/SubscribeOn.hpp"
#include "contract/publishers/PublisherContract.hpp"
#include "support/ManualQueue.hpp"
#include "support/TestPublisher.hpp"

// The operators, each over a publisher that a test ends in every way there is.
namespace corvane::test {

using Operator = std::function<AnyPublisher<int>(AnyPublisher<int>, const std::shared_ptr<ManualQueue>&)>;

/// The three ends of an operator over a test publisher.
inline std::vector<PublisherCase> casesOf(const std::string& name, const Operator& apply) {
  using Source = TestPublisher<int>;
  const auto caseOf = [&](const std::string& how, bool succeeds, std::function<void(const Source&)> end) {
    return PublisherCase{name + how, succeeds, [apply, end = std::move(end)] {
                           const auto queue = std::make_shared<ManualQueue>();
                           const Source source;
                           return rigOver(apply(source.publisher(), queue), [source, queue, end] {
                             queue->runAll();
                             end(source);
                             queue->runAll();
                           });
                         }};
  };
  return {caseOf("Succeeding", true, [](const Source& source) { source.succeed(1); }),
          caseOf("Failing", false, [](const Source& source) { source.fail(NSError("D", 1)); }),
          caseOf("LetGo", false, [](const Source& source) { source.letGo(); })};
}

/// A promise that is fulfilled, or forgotten, by the test.
inline PublisherCase futureCase(const std::string& how, bool succeeds,
                                std::function<void(std::optional<Promise<int, AnyError>>&)> end) {
  return {"Future" + how, succeeds, [end = std::move(end)] {
            auto promise = std::make_shared<std::optional<Promise<int, AnyError>>>();
            auto publisher = future<int, AnyError>(TestPublisher<int>::dropped(),
                                                   [&](const auto& p) { promise->emplace(p); });
            return rigOver(std::move(publisher), [promise, end] {
              if (*promise) end(*promise);
              promise->reset();
            });
          }};
}

inline std::vector<PublisherCase> operatorCases() {
  using Queue = std::shared_ptr<ManualQueue>;
  std::vector<PublisherCase> cases;
  const auto add = [&cases](const std::vector<PublisherCase>& more) {
    cases.insert(cases.end(), more.begin(), more.end());
  };

  add(casesOf("Create", [](auto upstream, const Queue&) { return upstream; }));
  add(casesOf("SubscribeOn", [](auto upstream, const Queue& queue) { return subscribeOn(upstream, queue); }));
  add(casesOf("MapError", [](auto upstream, const Queue&) {
    return mapError(upstream, [](const AnyError&) { return AnyError(NSError("Mapped", 2)); });
  }));
  add(casesOf("HandleEvents",
              [](auto upstream, const Queue&) { return handleEvents(upstream, [](const auto&) {}); }));
  add(casesOf("Deferred",
              [](auto upstream, const Queue&) { return deferred<int>([upstream] { return upstream; }); }));
  add(casesOf("Retry", [](auto upstream, const Queue& queue) {
    return retry(upstream, DelayedRetryBehavior::exponentialDelayed(4, 1, 1, 8), queue,
                 [](const AnyError&) { return false; });
  }));

  using OpenPromise = std::optional<Promise<int, AnyError>>;
  add({futureCase("Succeeding", true,
                  [](OpenPromise& promise) { promise->fulfil(Result<int, AnyError>::success(1)); }),
       futureCase(
           "Failing", false,
           [](OpenPromise& promise) { promise->fulfil(Result<int, AnyError>::failure(NSError("D", 1))); }),
       futureCase("LetGo", false, [](OpenPromise&) {})});
  add({{"Just", true, [] { return rigOver(AnyPublisher<int>::just(1), [] {}); }},
       {"FailingAtOnce", false, [] { return rigOver(AnyPublisher<int>::failing(NSError("D", 1)), [] {}); }}});
  return cases;
}

}  // namespace corvane::test
