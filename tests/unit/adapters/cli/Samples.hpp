#pragma once

#include <Corvane/AnyPublisher.hpp>
#include <Corvane/FilesPage.hpp>

#include "support/TemporaryFolder.hpp"

#include <filesystem>
#include <fstream>
#include <string>

namespace corvane::cli::test {

inline File fileNamed(std::string name) {
  const Date time{std::chrono::milliseconds{1'709'296'496'789}};  // 2024-03-01T12:34:56.789Z
  return File("1AbC", "text/plain", std::move(name), "1536", false, false, time, time, std::nullopt,
              std::nullopt, std::nullopt);
}

/// A folder of the test's own, to write small files into.
class TemporaryFolder : public corvane::test::TemporaryFolder {
 public:
  std::filesystem::path write(const std::string& name, const std::string& text) const {
    std::ofstream(path() / name, std::ios::binary) << text;
    return path() / name;
  }
};

/// An operation that never answers, and tells when it is cancelled.
template <class Value>
AnyPublisher<Value> unanswered(std::shared_ptr<bool> cancelled) {
  auto kept = std::make_shared<std::vector<Subscriber<Value, AnyError>>>();
  return AnyPublisher<Value>::create(
      [cancelled, kept](Subscriber<Value, AnyError> subscriber) {
        kept->push_back(subscriber);
        return AnyCancellable([cancelled, kept] { *cancelled = true; });
      },
      DropRule<AnyError>{NSError("Test", 1), {}});
}

}  // namespace corvane::cli::test
