#pragma once

#include "CurlShare.hpp"
#include "Exchange.hpp"

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
};

/// One exchange on one libcurl handle; lives on the network thread.
class CurlTransfer {
 public:
  /// Throws std::bad_alloc.
  CurlTransfer(std::shared_ptr<Exchange> exchange, std::shared_ptr<CurlShare> share,
               const TransferSettings& settings, const std::string& authoritiesFile);
  ~CurlTransfer();
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
  /// Wipes each line: one of them is the bearer.
  struct HeaderListDeleter {
    void operator()(curl_slist* list) const;
  };

  template <class Value>
  void set(CURLoption option, Value value);
  void addHeader(std::string_view name, std::string_view value);
  void addHeaderLine(const char* line);
  void setTarget(const std::string& authoritiesFile);
  void setMethod();
  void setHeaders(const std::string& userAgent);
  void setLimits();

  static curl_socket_t openSocket(void* self, curlsocktype purpose, curl_sockaddr* address) noexcept;
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  bool acceptHeader(std::string_view line);
  bool acceptBody(std::string_view bytes);

  NSError failure(CURLcode code) const;

  const HTTPLimits limits_;
  const std::shared_ptr<Exchange> exchange_;
  const std::shared_ptr<CurlShare> share_;  // before the handle, which must let go of it first
  std::unique_ptr<curl_slist, HeaderListDeleter> headers_;
  std::array<char, CURL_ERROR_SIZE> libraryText_{};
  std::unique_ptr<CURL, HandleDeleter> handle_;

  HTTPResponse response_;
  int socketError_ = 0;
  std::size_t headerBytes_ = 0;
  bool inBody_ = false;
  Stopped stopped_ = Stopped::no;
};

}  // namespace corvane
