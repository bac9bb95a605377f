#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace corvane {

class AnyError;
class UserInfoValue;

/// What an error carries beside domain and code, by key.
using UserInfo = std::map<std::string, UserInfoValue>;

/// A value that an error may carry and that can only be printed, as the REST client's structured error.
class Printable {
 public:
  virtual ~Printable() = default;
  /// One line of text, without secrets.
  virtual std::string description() const = 0;
};

/// One value of an error's user info: text, integer, real, boolean, dictionary, list, another error, or a
/// printable. An immutable value; the larger kinds are shared between copies, so that copying never throws.
class UserInfoValue {
 public:
  using List = std::vector<UserInfoValue>;

  UserInfoValue(std::string text) : value_(std::make_shared<const std::string>(std::move(text))) {}
  UserInfoValue(std::string_view text) : UserInfoValue(std::string(text)) {}
  UserInfoValue(const char* text) : UserInfoValue(std::string(text)) {}
  UserInfoValue(bool flag) : value_(flag) {}
  UserInfoValue(std::int64_t number) : value_(number) {}
  UserInfoValue(int number) : value_(std::int64_t{number}) {}
  UserInfoValue(double number) : value_(number) {}
  UserInfoValue(UserInfo dictionary);
  UserInfoValue(List list);
  UserInfoValue(const AnyError& error);
  UserInfoValue(std::shared_ptr<const Printable> printable) : value_(std::move(printable)) {}

  /// The text, or null when it is of another kind; likewise below.
  const std::string* text() const { return pointee<std::string>(); }
  const bool* boolean() const { return std::get_if<bool>(&value_); }
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value_); }
  const double* real() const { return std::get_if<double>(&value_); }
  const UserInfo* dictionary() const { return pointee<UserInfo>(); }
  const List* list() const { return pointee<List>(); }
  const AnyError* error() const { return pointee<AnyError>(); }
  const Printable* printable() const { return pointee<Printable>(); }

  /// The value printed in one piece, as the platform prints a value in text interpolation.
  std::string description() const;

 private:
  template <class T>
  const T* pointee() const {
    const auto* shared = std::get_if<std::shared_ptr<const T>>(&value_);
    return shared ? shared->get() : nullptr;
  }

  // No text by value: where copying one runs out of memory, g++ 12 destroys a variant that holds nothing.
  std::variant<std::shared_ptr<const std::string>, bool, std::int64_t, double,
               std::shared_ptr<const UserInfo>, std::shared_ptr<const List>, std::shared_ptr<const AnyError>,
               std::shared_ptr<const Printable>>
      value_;
};

}  // namespace corvane
