#pragma once

#include <Corvane/About.hpp>
#include <Corvane/AnyPublisher.hpp>
#include <Corvane/FilesPage.hpp>
#include <Corvane/Void.hpp>

#include <optional>
#include <string>

namespace corvane {

/// Google Drive as one account sees it.
///
/// Lifetime: operations start at subscription, once per subscriber. Dropping the API object ends its running
/// requests with NSURLErrorDomain -999.
/// Threads: any; work and callbacks run on the shared user-initiated queue. Only an operation that
/// the queue cannot take, for want of memory or threads, fails at once, on the subscribing thread.
/// Cancellation: ends the request, or the delay before a further attempt, at once and silently.
/// Errors: Drive's (see CorvanePlatform/DriveService.hpp), the keychain's when the session cannot be read, or
/// GoogleDriveAPIError. Reads are tried up to four times more after a transient failure; deletes and trashing
/// never.
class GoogleDriveAPIType {
 public:
  virtual ~GoogleDriveAPIType() = default;

  /// The account's profile and storage quota.
  virtual AnyPublisher<About> getAbout() = 0;

  /// One page of up to 500 of the files that the user owns and that are not in the trash. Pass nothing for
  /// the first page, then each page's `nextPageToken` until there is none. Failures name the account and the
  /// page.
  virtual AnyPublisher<FilesPage> getFilesPage(std::optional<std::string> pageToken) = 0;

  /// Deletes a file for good, past the trash.
  virtual AnyPublisher<Void> deleteFile(std::string fileId) = 0;

  /// Moves a file to the trash, where Google keeps it for 30 days.
  virtual AnyPublisher<Void> moveToTrash(std::string fileId) = 0;
};

}  // namespace corvane
