#pragma once

#include "DriveCall.hpp"
#include "RunningRequests.hpp"

#include <Corvane/CancellableSlot.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <CorvanePlatform/DriveService.hpp>
#include <CorvanePlatform/Queue.hpp>
#include <DriveParser.hpp>
#include <HTTPClient.hpp>

#include <atomic>
#include <memory>
#include <optional>
#include <string>

/// The life of one Drive request: token, exchange, perhaps a fresh token and a second exchange, parsing,
/// handler.
///
/// The problem: an end can come at any moment and from any thread, as an answer, a cancellation or the end of
/// the service, while the request moves from one phase to the next on threads that it does not choose.
///
/// The idea: `ended_` is the only thing that they fight over. Whoever sets it owns the handler, to call it or
/// to drop it; everyone else finds it set and leaves. Nothing else is shared between threads: the call does
/// not change, and each phase hands what the next one needs (the token, which attempt it is) on in its
/// callback. What can be cancelled just now lies in `current_`, where each phase puts a slot of its own
/// before it begins, so that a phase that is over before its cancellable is known cannot displace its
/// successor's.
///
/// The cost: one small slot per phase. Ownership goes one way (the service's list holds the request,
/// callbacks refer to it weakly), so that nothing has to be untied.
namespace corvane {

class DriveRequest final : public GTLRServiceTicket, public std::enable_shared_from_this<DriveRequest> {
 public:
  /// What a service's requests share. The client and the list belong to the service and end with it.
  struct Environment {
    std::weak_ptr<HTTPClient> client;
    std::shared_ptr<const DriveParser> parser;
    std::shared_ptr<Queue> queue;
    std::weak_ptr<RunningRequests> running;
    std::string host;
  };

  DriveRequest(Environment environment, std::shared_ptr<AuthSession> session, Result<DriveCall, NSError> call,
               GTLRDriveService::CompletionHandler handler);

  /// Once, after the request has been put in the list. Does not call the handler, unless memory runs out.
  void start();

  void cancelTicket() override;

 private:
  enum class Attempt { first, second };
  struct Outcome;
  class TokenReply;

  void requestToken(Attempt attempt, std::optional<Secret> rejected);
  void tokenArrived(Attempt attempt, Result<Secret, NSError> token);
  void sendOrFail(Attempt attempt, Secret token);
  void send(Attempt attempt, Secret token);
  void responseArrived(Attempt attempt, const Secret& token, Result<HTTPResponse, NSError> result);
  std::optional<Outcome> read(Attempt attempt, const Secret& token, Result<HTTPResponse, NSError> result);

  std::shared_ptr<CancellableSlot> beginPhase();
  void failLater(NSError error);
  void finish(Outcome outcome);
  void finishWithoutMemory();
  /// The handler, if this end is the first.
  std::optional<GTLRDriveService::CompletionHandler> end() noexcept;

  const Environment environment_;
  const std::shared_ptr<AuthSession> session_;
  const Result<DriveCall, NSError> call_;
  GTLRDriveService::CompletionHandler handler_;  // belongs to whoever sets ended_
  std::atomic<bool> ended_{false};
  CancellableSlot current_;
  const NSError outOfMemory_;  // had while there is memory to make it
};

}  // namespace corvane
