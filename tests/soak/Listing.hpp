#pragma once

#include <Corvane/GoogleDriveAPIType.hpp>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace corvane::soak {

/// Lists one account again and again, on its own thread, and checks each completed listing.
class Listing {
 public:
  Listing(std::string email, std::shared_ptr<GoogleDriveAPIType> drive, std::size_t files);

  /// Until `over`; the listing under way is then given up.
  void run(const std::atomic<bool>& over);

  const std::string& email() const { return email_; }
  /// What the first completed listing brought; 0 before.
  std::uint64_t fingerprint() const { return fingerprint_; }
  /// Any thread.
  std::size_t completed() const { return completed_; }
  std::size_t pages() const { return pages_; }
  /// Listings that did not bring every file exactly once.
  std::size_t wrong() const { return wrong_; }
  /// Listings that ended in an error and were begun anew, by the error.
  const std::map<std::string, std::size_t>& failures() const { return failures_; }

 private:
  void listOnce(const std::atomic<bool>& over);
  void check();

  const std::string email_;
  const std::shared_ptr<GoogleDriveAPIType> drive_;
  const std::size_t files_;
  std::vector<std::uint64_t> seen_;  // hashes of ids, in memory that is had from the start
  std::uint64_t fingerprint_ = 0;    // sum of the first completed listing's hashes
  std::atomic<std::size_t> completed_{0};
  std::size_t pages_ = 0;
  std::size_t wrong_ = 0;
  std::map<std::string, std::size_t> failures_;
};

}  // namespace corvane::soak
