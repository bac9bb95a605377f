#pragma once

#include "CurlShare.hpp"
#include "Exchange.hpp"
#include "HeaderLines.hpp"
#include "ServerCertificates.hpp"

#include <curl/curl.h>
#include <CorvaneLinux/HTTPLimits.hpp>

#include <array>
#include <memory>
#include <string>
#include <string_view>

namespace corvane {

/// What all transfers of a network have in common.
struct TransferSettings {
  HTTPLimits limits;
  std::string userAgent;
  ServerCertificates certificates;
};

/// One exchange on a libcurl handle of its own; the loop's.
class CurlTransfer {
 public:
  /// Ready to be given to libcurl. Throws std::bad_alloc.
  /// The settings outlive it. `openSockets` is kept as long as its connection, and counts the
  /// sockets.
  CurlTransfer(const TransferSettings& settings, std::shared_ptr<Exchange> exchange,
               std::shared_ptr<CurlShare> share, std::size_t& openSockets);
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  CURL* handle() const { return handle_.get(); }
  const std::shared_ptr<Exchange>& exchange() const { return exchange_; }

  /// Gives the exchange its outcome. Throws std::bad_alloc.
  void finish(CURLcode code);

 private:
  enum class Stopped { no, headersTooLarge, bodyTooLarge, outOfMemory };

  struct HandleDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  template <class Value>
  void set(CURLoption option, Value value);
  void setCallbacks();
  void setSecurity();
  void setLimits();
  void setTarget();
  void setMethod();
  void setHeaders();

  static curl_socket_t openSocket(void* self, curlsocktype purpose,
                                  curl_sockaddr* address) noexcept;
  static int closeSocket(void* openSockets, curl_socket_t socket) noexcept;
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static int onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) noexcept;
  bool acceptHeader(std::string_view line);
  bool acceptBody(std::string_view bytes);

  bool isCutShort(long status) const;
  NSError failure(CURLcode code) const;

  const TransferSettings& settings_;
  std::size_t& openSockets_;
  const std::shared_ptr<Exchange> exchange_;
  const std::shared_ptr<CurlShare> share_;  // before the handle, which must let go of it first
  HeaderLines headers_;
  std::array<char, CURL_ERROR_SIZE> libraryText_{};
  std::unique_ptr<CURL, HandleDeleter> handle_;

  HTTPResponse response_;
  int socketError_ = 0;
  std::size_t headerBytes_ = 0;
  bool inBody_ = false;
  bool closingAlertCame_ = false;
  Stopped stopped_ = Stopped::no;
};

}  // namespace corvane
