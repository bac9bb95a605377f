#include "RESTDriveService.hpp"

#include "DriveCall.hpp"
#include "DriveErrors.hpp"
#include "DriveRequest.hpp"
#include "RunningRequests.hpp"
#include "URLHost.hpp"

#include <utility>

namespace corvane {
namespace {

std::string withSlash(std::string url) {
  if (!url.ends_with('/')) url += '/';
  return url;
}

}  // namespace

RESTDriveService::RESTDriveService(std::shared_ptr<HTTPClient> client,
                                   std::shared_ptr<const DriveParser> parser, std::shared_ptr<Queue> queue,
                                   std::string baseURL)
    : client_(std::move(client)),
      parser_(std::move(parser)),
      queue_(std::move(queue)),
      baseURL_(withSlash(std::move(baseURL))),
      host_(hostOf(baseURL_)),
      running_(std::make_shared<RunningRequests>()) {}

RESTDriveService::~RESTDriveService() {
  running_->cancelAll();
}

void RESTDriveService::setAuthorizer(std::shared_ptr<AuthSession> authorizer) {
  const std::lock_guard lock(mutex_);
  authorizer_.swap(authorizer);  // the old one goes with the parameter, after the lock
}

std::shared_ptr<AuthSession> RESTDriveService::authorizer() const {
  const std::lock_guard lock(mutex_);
  return authorizer_;
}

std::shared_ptr<GTLRServiceTicket> RESTDriveService::executeQuery(GTLRDriveQuery query,
                                                                  CompletionHandler completionHandler) {
  auto request = std::make_shared<DriveRequest>(
      DriveRequest::Environment{client_, parser_, queue_, running_, host_}, authorizer(),
      makeDriveCall(baseURL_, query), std::move(completionHandler));
  running_->add(request);
  try {
    request->start();
  } catch (...) {
    request->cancelTicket();  // it may have come halfway
    throw;
  }
  return request;
}

void RESTDriveService::Fetchers::stopAllFetchers() {
  service_.running_->cancelAll();
}

void RESTDriveService::Fetchers::resetSession() {
  service_.client_->resetSession();
}

}  // namespace corvane
