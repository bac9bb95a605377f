#pragma once

#include <CorvanePlatform/DriveService.hpp>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane::test {

/// A Drive service that issues nothing: it keeps each query with its handler until the test answers.
class FakeDriveService final : public GTLRDriveService {
 public:
  class Ticket final : public GTLRServiceTicket {
   public:
    /// Releases the handler uncalled, as a real ticket does.
    void cancelTicket() override {
      ++cancellations;
      release();
    }

    CompletionHandler takeHandler() {
      const std::lock_guard guard(mutex_);
      return std::move(handler_);
    }
    void release() { const CompletionHandler released = takeHandler(); }

    std::atomic<int> cancellations{0};

   private:
    friend class FakeDriveService;
    std::mutex mutex_;
    CompletionHandler handler_;
  };

  struct Request {
    GTLRDriveQuery query;
    std::shared_ptr<Ticket> ticket;
  };

  class FetcherService final : public GTMSessionFetcherService {
   public:
    explicit FetcherService(FakeDriveService& service) : service_(service) {}
    void stopAllFetchers() override {
      service_.note("stopAllFetchers");
      for (const auto& request : service_.requests()) request.ticket->release();
    }
    void resetSession() override { service_.note("resetSession"); }

   private:
    FakeDriveService& service_;
  };

  /// `journal`, if any, outlives the service and is told of its ending.
  explicit FakeDriveService(std::shared_ptr<std::vector<std::string>> journal = nullptr)
      : journal_(std::move(journal)) {}

  void setAuthorizer(std::shared_ptr<AuthSession> authorizer) override {
    authorizer_ = std::move(authorizer);
  }
  std::shared_ptr<AuthSession> authorizer() const override { return authorizer_; }
  GTMSessionFetcherService& fetcherService() override { return fetcherService_; }

  std::shared_ptr<GTLRServiceTicket> executeQuery(GTLRDriveQuery query,
                                                  CompletionHandler completionHandler) override {
    auto ticket = std::make_shared<Ticket>();
    ticket->handler_ = std::move(completionHandler);
    const std::lock_guard guard(mutex_);
    requests_.push_back({std::move(query), ticket});
    return ticket;
  }

  std::vector<Request> requests() const {
    const std::lock_guard guard(mutex_);
    return requests_;
  }
  std::size_t requestCount() const {
    const std::lock_guard guard(mutex_);
    return requests_.size();
  }

  /// Forgets what was asked, so that indices begin at 0 again.
  void forgetRequests() {
    const std::lock_guard guard(mutex_);
    requests_.clear();
  }

  template <class Query>
  Query query(std::size_t index) const {
    return std::get<Query>(requests().at(index).query);
  }

  /// Answers request `index` on this thread; nothing happens if its handler is gone.
  void answer(std::size_t index, GTLRObject object) { respond(index, std::move(object), std::nullopt); }
  void fail(std::size_t index, NSError error) { respond(index, std::monostate{}, std::move(error)); }

 private:
  void respond(std::size_t index, GTLRObject object, std::optional<NSError> error) {
    const auto ticket = ticketOf(index);
    if (const auto handler = ticket->takeHandler()) handler(ticket, std::move(object), std::move(error));
  }

  std::shared_ptr<Ticket> ticketOf(std::size_t index) const {
    const std::lock_guard guard(mutex_);
    return requests_.at(index).ticket;
  }

  void note(std::string event) {
    if (journal_) journal_->push_back(std::move(event));
  }

  std::shared_ptr<std::vector<std::string>> journal_;
  std::shared_ptr<AuthSession> authorizer_;
  FetcherService fetcherService_{*this};
  mutable std::mutex mutex_;
  std::vector<Request> requests_;
};

}  // namespace corvane::test
