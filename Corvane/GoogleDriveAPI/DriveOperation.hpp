#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/ExceptionErrors.hpp>
#include <CorvanePlatform/DriveService.hpp>
#include <CorvanePlatform/Queue.hpp>

#include "../Publishers/Deferred.hpp"
#include "../Publishers/SubscribeOn.hpp"
#include "ProviderHold.hpp"

#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <utility>

/// One Drive operation as a publisher: what the four operations have in common.
///
/// At subscription the work moves to the callback queue, asks the provider for the service, issues a query,
/// and has the answer handled on the callback queue again. Each operation supplies the steps that differ; its object
/// is shared by all its attempts, on any thread.
///
/// Memory, threads or descriptors that run out over the work end the operation in one error. What
/// the host's own code throws still ends the program: its callbacks and its log are called through
/// functions that may not throw.
namespace corvane {

template <class Value>
class DriveOperation {
 public:
  virtual ~DriveOperation() = default;

  /// Called when the service cannot be built, before the subscriber fails.
  virtual void serviceUnavailable(const AnyError&) const {}
  virtual GTLRDriveQuery makeQuery() const = 0;
  /// Called between making the query and issuing it.
  virtual void starting() const {}
  /// Called before the subscriber fails with a request's error.
  virtual void failed(const AnyError&) const {}
  /// Turns the response object into the value, or says what is wrong with it.
  virtual Result<Value, AnyError> convert(GTLRObject object) const = 0;
};

template <class Value>
using DriveOperationPointer = std::shared_ptr<const DriveOperation<Value>>;

namespace drive {

/// What a subscription ends with when its request was stopped under it.
inline const AnyError& cancelledError() {
  // Never destroyed: a worker may read it while the process ends.
  static const auto& error = *new const AnyError([] {
    UserInfo userInfo;
    userInfo.emplace(NSLocalizedDescriptionKey, "Google Drive request was cancelled.");
    return NSError(NSURLErrorDomain, NSURLErrorCancelled, std::move(userInfo));
  }());
  return error;
}

/// What the answer comes to.
template <class Value>
Result<Value, AnyError> read(const DriveOperation<Value>& request, ProviderHold& hold, GTLRObject object,
                             const std::optional<NSError>& requestError) noexcept {
  try {
    if (!requestError) return request.convert(std::move(object));
    const AnyError error(*requestError);
    request.failed(error);
    hold.remember(error);
    return Result<Value, AnyError>::failure(error);
  } catch (const std::bad_alloc&) {
    return Result<Value, AnyError>::failure(outOfMemory());
  }
}

template <class Value>
void handle(const DriveOperation<Value>& request, ProviderHold& hold,
            const Subscriber<Value, AnyError>& subscriber, GTLRObject object,
            const std::optional<NSError>& requestError) {
  auto result = read(request, hold, std::move(object), requestError);
  if (result) {
    subscriber.succeed(std::move(result).value());
  } else {
    subscriber.fail(std::move(result).error());
  }
}

/// The completion handler of a request: has the answer handled on the callback queue, or here and now when the
/// queue cannot take it.
template <class Value>
GTLRDriveService::CompletionHandler handler(const DriveOperationPointer<Value>& request,
                                            const std::shared_ptr<ProviderHold>& hold,
                                            const std::shared_ptr<Queue>& callbackQueue,
                                            const Subscriber<Value, AnyError>& subscriber) {
  return [request, hold, callbackQueue, subscriber](const std::shared_ptr<GTLRServiceTicket>&,
                                                    GTLRObject object, std::optional<NSError> error) {
    try {
      callbackQueue->async(
          [request, hold, subscriber, object = std::move(object), error = std::move(error)]() mutable {
            handle(*request, *hold, subscriber, std::move(object), error);
          });
    } catch (const std::exception& exception) {
      subscriber.fail(errorOfException(exception));
    }
  };
}

template <class Value>
AnyCancellable issue(const DriveOperationPointer<Value>& request, const std::shared_ptr<ProviderHold>& hold,
                     const std::shared_ptr<Queue>& callbackQueue,
                     const Subscriber<Value, AnyError>& subscriber, BuildTurns::Turn turn) {
  if (subscriber.isCancelled()) return {};
  const auto provider = hold->provider();
  if (!provider) {
    subscriber.fail(hold->lastError() ? *hold->lastError() : cancelledError());
    return {};
  }

  std::shared_ptr<GTLRDriveService> service;
  try {
    service = provider->service();
    turn.end(true);
  } catch (const std::exception& exception) {
    turn.end(false);
    const AnyError error = errorOfException(exception);
    request->serviceUnavailable(error);
    subscriber.fail(error);
    return {};
  }
  if (subscriber.isCancelled()) return {};

  hold->weaken();
  auto query = request->makeQuery();
  request->starting();
  auto ticket = service->executeQuery(std::move(query), handler(request, hold, callbackQueue, subscriber));
  return AnyCancellable([ticket = std::move(ticket)] { ticket->cancelTicket(); });
}

template <class Value>
AnyCancellable issueOrFail(const DriveOperationPointer<Value>& request,
                           const std::shared_ptr<ProviderHold>& hold,
                           const std::shared_ptr<Queue>& callbackQueue,
                           const Subscriber<Value, AnyError>& subscriber, BuildTurns::Turn turn) {
  try {
    return issue(request, hold, callbackQueue, subscriber, std::move(turn));
  } catch (const std::exception& exception) {
    subscriber.fail(errorOfException(exception));
    return {};
  }
}

/// Issues the request when it is this operation's turn to ask for the service.
template <class Value>
AnyCancellable inTurn(const DriveOperationPointer<Value>& request,
                      const std::shared_ptr<ProviderHold>& hold,
                      const std::shared_ptr<Queue>& callbackQueue,
                      const Subscriber<Value, AnyError>& subscriber) {
  const auto provider = hold->provider();
  if (!provider || provider->turns()->areOver())
    return issueOrFail(request, hold, callbackQueue, subscriber, {});
  try {
    auto issued = std::make_shared<CancellableSlot>();
    provider->turns()->take(callbackQueue, [=](BuildTurns::Turn turn) {
      issued->set(issueOrFail(request, hold, callbackQueue, subscriber, std::move(turn)).release());
    });
    return AnyCancellable(std::move(issued));
  } catch (const std::exception& exception) {
    subscriber.fail(errorOfException(exception));
    return {};
  }
}

/// One attempt: cold, started on the callback queue.
template <class Value>
AnyPublisher<Value> attempt(DriveOperationPointer<Value> request, std::shared_ptr<ProviderHold> hold,
                            const std::shared_ptr<Queue>& callbackQueue) {
  auto work = [request = std::move(request), hold = std::move(hold),
               callbackQueue](const Subscriber<Value, AnyError>& subscriber) {
    return inTurn(request, hold, callbackQueue, subscriber);
  };
  // A request that is stopped lets go of its subscriber wherever that happens to be; the host still hears of
  // it on the callback queue.
  DropRule<AnyError> stopped{cancelledError(),
                             [callbackQueue](Block block) { callbackQueue->async(std::move(block)); }};
  return subscribeOn(AnyPublisher<Value>::create(std::move(work), std::move(stopped)), callbackQueue);
}

}  // namespace drive
}  // namespace corvane
