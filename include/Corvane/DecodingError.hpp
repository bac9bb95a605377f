#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace corvane {

/// Why a keyed decoder could not read a value. Thrown within an AnyError.
class DecodingError {
 public:
  /// In the order of their codes.
  enum class Case { typeMismatch, valueNotFound, keyNotFound, dataCorrupted };

  /// `codingPath` leads to the value, as "user.photoLink" or "files[3].name"; empty for the document itself.
  /// `debugDescription` says what was expected and what was found, never the value itself.
  DecodingError(Case which, std::string codingPath, std::string debugDescription)
      : case_(which), codingPath_(std::move(codingPath)), debugDescription_(std::move(debugDescription)) {}

  Case kind() const { return case_; }
  const std::string& codingPath() const { return codingPath_; }
  const std::string& debugDescription() const { return debugDescription_; }

  int caseNumber() const { return static_cast<int>(case_); }
  std::optional<std::string> errorDescription() const {
    return codingPath_.empty() ? debugDescription_ : codingPath_ + ": " + debugDescription_;
  }

 private:
  Case case_;
  std::string codingPath_;
  std::string debugDescription_;
};

constexpr std::string_view errorTypeName(const DecodingError&) {
  return "Corvane.DecodingError";
}

}  // namespace corvane
