#pragma once

#include <gtest/gtest.h>
#include <CorvaneEmulator/Emulator.hpp>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "HTTPClient.hpp"

namespace corvane::tests {

using emulator::Emulator;
using emulator::Fault;
using emulator::Options;
using nlohmann::json;

inline const std::string ada = "ada@example.com";

/// A running emulator with a signed-in client on one connection. No fault may be left over.
class EmulatorTest : public testing::Test {
 protected:
  explicit EmulatorTest(Options options = {.accounts = {{.email = ada, .files = 50}}})
      : server(std::move(options)) {
    server.start();
  }
  void TearDown() override { EXPECT_TRUE(server.faults().empty()) << server.faults().description(); }

  HTTPHeaders signedIn(std::string_view scopes = emulator::fullScopes, const std::string& email = ada) {
    return {{"Authorization", "Bearer " + server.issueSession(email, scopes).accessToken}};
  }
  HTTPClient connect() { return HTTPClient(server.port()); }
  HTTPAnswer get(const std::string& target) { return connect().get(target, session); }

  HTTPAnswer patch(const std::string& id, const std::string& body, const std::string& query = "") {
    auto headers = session;
    headers.emplace_back("Content-Type", "application/json");
    return connect().send("PATCH", "/drive/v3/files/" + id + query, headers, body);
  }
  HTTPAnswer remove(const std::string& id) {
    return connect().send("DELETE", "/drive/v3/files/" + id, session);
  }

  /// The id of the account's first file that matches `q`.
  std::string firstFile(const std::string& query) {
    const auto page = json::parse(get("/drive/v3/files?pageSize=1&q=" + percentEncoded(query)).body);
    return page["files"][0]["id"];
  }

  /// All files over all pages.
  std::vector<json> listAll(const std::string& parameters) {
    std::vector<json> files;
    std::string token;
    do {
      const auto more = token.empty() ? "" : "&pageToken=" + percentEncoded(token);
      const auto page = json::parse(get("/drive/v3/files?" + parameters + more).body);
      files.insert(files.end(), page["files"].begin(), page["files"].end());
      token = page.value("nextPageToken", "");
    } while (!token.empty());
    return files;
  }

  Emulator server;
  HTTPHeaders session = signedIn();
};

/// Status and reason of a Drive error, as in "400 invalidParameter".
inline std::string problem(const HTTPAnswer& answer) {
  const auto error = json::parse(answer.body).at("error");
  EXPECT_EQ(error.at("code"), answer.status);
  EXPECT_EQ(error.at("message"), error.at("errors").at(0).at("message"));
  return std::to_string(answer.status) + " " + error.at("errors").at(0).at("reason").get<std::string>();
}

}  // namespace corvane::tests
