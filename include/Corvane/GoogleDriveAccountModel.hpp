#pragma once

#include <CorvanePlatform/Text.hpp>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace corvane {

/// Names one signed-in Drive account by its e-mail address, exactly as the sign-in gave it.
///
/// A plain value without secrets. Two are equal when their e-mail texts are (Unicode canonical equivalence);
/// letter case counts. Usable as a member of unordered containers.
class GoogleDriveAccountModel {
 public:
  /// Any text, the empty one included.
  explicit GoogleDriveAccountModel(std::string userEmail) : userEmail_(std::move(userEmail)) {}

  const std::string& userEmail() const { return userEmail_; }

  friend bool operator==(const GoogleDriveAccountModel& left, const GoogleDriveAccountModel& right) {
    return textEqual(left.userEmail_, right.userEmail_);
  }

 private:
  std::string userEmail_;
};

}  // namespace corvane

template <>
struct std::hash<corvane::GoogleDriveAccountModel> {
  std::size_t operator()(const corvane::GoogleDriveAccountModel& account) const {
    return corvane::textHash(account.userEmail());
  }
};
