#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::tests {

using HTTPHeaders = std::vector<std::pair<std::string, std::string>>;

struct HTTPAnswer {
  int status = 0;  ///< 0 when none could be read
  HTTPHeaders headers = {};
  std::string body = {};   ///< what arrived, also when the answer broke off
  std::string error = {};  ///< why it broke off; empty when it is whole

  std::string header(std::string_view name) const;
};

/// One connection to a loopback port, without any cleverness: no retry, no redirect, no decompression.
/// Throws std::runtime_error when it cannot be made.
class HTTPClient {
 public:
  explicit HTTPClient(std::uint16_t port, const std::string& authorityPEM = {});
  ~HTTPClient();

  HTTPAnswer get(const std::string& target, const HTTPHeaders& headers = {});
  HTTPAnswer send(const std::string& method, const std::string& target, const HTTPHeaders& headers,
                  const std::string& body = {});
  HTTPAnswer postForm(const std::string& target, const HTTPHeaders& fields);

  /// The two halves of `send`, for answers that are held back.
  void write(const std::string& method, const std::string& target, const HTTPHeaders& headers = {},
             const std::string& body = {});
  HTTPAnswer read();
  /// Bytes until the other side closes, or at least `enough`.
  std::string readRaw(std::size_t enough = SIZE_MAX);
  void writeRaw(const std::string& bytes);
  /// True once the other side has closed; waits for it.
  bool isClosedByPeer();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

std::string percentEncoded(std::string_view text);
std::string inflated(std::string_view gzip);  ///< throws std::runtime_error when damaged

}  // namespace corvane::tests
