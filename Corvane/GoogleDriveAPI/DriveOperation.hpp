#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <CorvanePlatform/DriveService.hpp>
#include <CorvanePlatform/Queue.hpp>

#include "../Publishers/Deferred.hpp"
#include "../Publishers/SubscribeOn.hpp"
#include "ProviderHold.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <utility>

/// One Drive operation as a publisher: what the four operations have in common.
///
/// At subscription the work moves to the callback queue, asks the provider for the service, issues a query,
/// and has the answer handled on the callback queue again. Each operation supplies the steps that differ.
namespace corvane {

template <class Value>
struct DriveOperation {
  /// Called when the service cannot be built, before the subscriber fails.
  std::function<void(const AnyError&)> serviceUnavailable = [](const AnyError&) {};
  std::function<GTLRDriveQuery()> makeQuery;
  /// Called between making the query and issuing it.
  std::function<void()> starting = [] {};
  /// Called before the subscriber fails with a request's error.
  std::function<void(const AnyError&)> failed = [](const AnyError&) {};
  /// Turns the response object into the value, or says what is wrong with it.
  std::function<Result<Value, AnyError>(GTLRObject)> convert;
};

namespace drive {

/// What a subscription ends with when its request was stopped under it.
inline AnyError cancelledError() {
  return NSError(NSURLErrorDomain, NSURLErrorCancelled,
                 {{std::string(NSLocalizedDescriptionKey), "The request to Google Drive was cancelled."}});
}

template <class Value>
void handle(const DriveOperation<Value>& request, ProviderHold& hold,
            const Subscriber<Value, AnyError>& subscriber, GTLRObject object,
            const std::optional<NSError>& requestError) {
  if (requestError) {
    const AnyError error(*requestError);
    request.failed(error);
    hold.remember(error);
    subscriber.fail(error);
    return;
  }
  auto converted = request.convert(std::move(object));
  if (converted) {
    subscriber.succeed(std::move(converted).value());
  } else {
    subscriber.fail(std::move(converted).error());
  }
}

template <class Value>
AnyCancellable issue(const std::shared_ptr<const DriveOperation<Value>>& request,
                     const std::shared_ptr<ProviderHold>& hold, const std::shared_ptr<Queue>& callbackQueue,
                     const Subscriber<Value, AnyError>& subscriber) {
  const auto provider = hold->provider();
  if (!provider) {
    subscriber.fail(hold->lastError() ? *hold->lastError() : cancelledError());
    return {};
  }

  std::shared_ptr<GTLRDriveService> service;
  try {
    service = provider->service();
  } catch (const AnyError& error) {
    request->serviceUnavailable(error);
    subscriber.fail(error);
    return {};
  }
  if (subscriber.isCancelled()) return {};

  hold->weaken();
  auto query = request->makeQuery();
  request->starting();
  auto ticket = service->executeQuery(std::move(query), [request, hold, callbackQueue, subscriber](
                                                            const std::shared_ptr<GTLRServiceTicket>&,
                                                            GTLRObject object, std::optional<NSError> error) {
    callbackQueue->async(
        [request, hold, subscriber, object = std::move(object), error = std::move(error)]() mutable {
          handle(*request, *hold, subscriber, std::move(object), error);
        });
  });
  return AnyCancellable([ticket = std::move(ticket)] { ticket->cancelTicket(); });
}

/// One attempt: cold, started on the callback queue.
template <class Value>
AnyPublisher<Value> attempt(std::shared_ptr<const DriveOperation<Value>> request,
                            std::shared_ptr<ProviderHold> hold, const std::shared_ptr<Queue>& callbackQueue) {
  auto work = [request = std::move(request), hold = std::move(hold),
               callbackQueue](const Subscriber<Value, AnyError>& subscriber) {
    return issue(request, hold, callbackQueue, subscriber);
  };
  // A request that is stopped lets go of its subscriber wherever that happens to be; the host still hears of
  // it on the callback queue.
  DropRule<AnyError> stopped{cancelledError(),
                             [callbackQueue](Block block) { callbackQueue->async(std::move(block)); }};
  return subscribeOn(AnyPublisher<Value>::create(std::move(work), std::move(stopped)), callbackQueue);
}

}  // namespace drive
}  // namespace corvane
