#pragma once

#include <CorvanePlatform/DriveService.hpp>
#include <CorvanePlatform/Queue.hpp>
#include <DriveParser.hpp>
#include <HTTPClient.hpp>

#include <memory>
#include <mutex>
#include <string>

namespace corvane {

class RunningRequests;

/// Drive v3 over HTTP.
///
/// Lifetime: shared; its end cancels its requests and drops its client. The queue and the parser may be
/// shared with other services, the client should not be: its connections are this service's. Threads: any.
/// Handlers are called on the client's or the queue's threads, never inside `executeQuery`. Cancellation: at
/// once in every phase, also while a token is awaited or an answer parsed; the handler is released on the
/// thread that cancels, with no lock held. Errors: GTLRErrorObjectDomain and GTLRServiceErrorDomain with the
/// HTTP status, or -1 for a query that was refused unsent; the client's and the session's errors as they are.
/// In NSURLErrorDomain: -1013 without an authorizer, -1017 for a success whose body is no JSON object.
/// NSPOSIXErrorDomain with ENOMEM when memory runs out over an answer.
class RESTDriveService final : public GTLRDriveService {
 public:
  RESTDriveService(std::shared_ptr<HTTPClient> client, std::shared_ptr<const DriveParser> parser,
                   std::shared_ptr<Queue> queue,
                   std::string baseURL = "https://www.googleapis.com/drive/v3/");
  ~RESTDriveService() override;

  void setAuthorizer(std::shared_ptr<AuthSession> authorizer) override;
  std::shared_ptr<AuthSession> authorizer() const override;
  GTMSessionFetcherService& fetcherService() override { return fetcherService_; }
  [[nodiscard]] std::shared_ptr<GTLRServiceTicket> executeQuery(GTLRDriveQuery query,
                                                                CompletionHandler completionHandler) override;

 private:
  class Fetchers final : public GTMSessionFetcherService {
   public:
    explicit Fetchers(RESTDriveService& service) : service_(service) {}
    void stopAllFetchers() override;
    void resetSession() override;

   private:
    RESTDriveService& service_;
  };

  const std::shared_ptr<HTTPClient> client_;
  const std::shared_ptr<const DriveParser> parser_;
  const std::shared_ptr<Queue> queue_;
  const std::string baseURL_;
  const std::string host_;
  const std::shared_ptr<RunningRequests> running_;
  Fetchers fetcherService_{*this};

  mutable std::mutex mutex_;
  std::shared_ptr<AuthSession> authorizer_;
};

}  // namespace corvane
