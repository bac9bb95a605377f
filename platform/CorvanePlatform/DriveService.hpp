#pragma once

#include <Corvane/NSError.hpp>
#include <Corvane/UniqueFunction.hpp>
#include <CorvanePlatform/AuthSession.hpp>
#include <CorvanePlatform/DriveObjects.hpp>
#include <CorvanePlatform/DriveQueries.hpp>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// Error domains of the REST client: an error that Google described, and an HTTP failure that it did not
// describe.
inline constexpr std::string_view GTLRErrorObjectDomain = "com.google.GTLRErrorObjectDomain";
inline constexpr std::string_view GTLRServiceErrorDomain = "com.google.GTLRServiceErrorDomain";
/// User-info key of the error object that Google sent; a Printable.
inline constexpr std::string_view GTLRStructuredErrorKey = "GTLRStructuredError";

/// One request under way.
class GTLRServiceTicket {
 public:
  virtual ~GTLRServiceTicket() = default;
  /// Ends the request at once, from any thread, without waiting; its handler is released uncalled unless it
  /// has already begun. Does nothing on a request that is over.
  virtual void cancelTicket() = 0;
};

/// The network end of a service.
class GTMSessionFetcherService {
 public:
  virtual ~GTMSessionFetcherService() = default;
  /// Ends every request still running, without waiting; their handlers are released uncalled.
  virtual void stopAllFetchers() = 0;
  /// Drops the service's connections.
  virtual void resetSession() = 0;
};

/// An authorized client of Drive v3 for one account.
///
/// Lifetime: shared; dropping it drops its connections and ends its requests.
/// Threads: any. The handler is called on a thread of the platform's, at most once; it does no work of its
/// own there.
/// Errors: see the domains above, and NSURLErrorDomain for what went wrong on the way.
class GTLRDriveService {
 public:
  /// The ticket, the response object, and the error or nothing.
  using CompletionHandler = UniqueFunction<void(const std::shared_ptr<GTLRServiceTicket>& ticket,
                                                GTLRObject object, std::optional<NSError> error)>;

  virtual ~GTLRDriveService() = default;

  /// Signs every later request. Set it before the first.
  virtual void setAuthorizer(std::shared_ptr<AuthSession> authorizer) = 0;
  virtual std::shared_ptr<AuthSession> authorizer() const = 0;

  virtual GTMSessionFetcherService& fetcherService() = 0;

  [[nodiscard]] virtual std::shared_ptr<GTLRServiceTicket> executeQuery(
      GTLRDriveQuery query, CompletionHandler completionHandler) = 0;
};

using DriveServiceMaker = std::function<std::shared_ptr<GTLRDriveService>()>;

}  // namespace corvane
