#pragma once

#include "Authorities.hpp"
#include "CurlShare.hpp"
#include "Exchange.hpp"
#include "HeaderLines.hpp"

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

/// One exchange after another on one libcurl handle; the loop's.
///
/// Making and configuring a handle takes a third of what libcurl needs for a small request, so a handle that brought
/// its answer serves further ones. What never changes is set once; whatever belongs to a request is set for each of
/// them, to its default too, and forgotten when the handle comes to rest.
class CurlTransfer {
 public:
  /// At rest. Throws std::bad_alloc.
  explicit CurlTransfer(const TransferSettings& settings);
  ~CurlTransfer();
  CurlTransfer(const CurlTransfer&) = delete;
  CurlTransfer& operator=(const CurlTransfer&) = delete;

  /// Takes an exchange on; the handle can be given to libcurl. One that throws std::bad_alloc is of no further use.
  void begin(std::shared_ptr<Exchange> exchange, std::shared_ptr<CurlShare> share,
             const Authorities* authorities);
  /// Whether the handle, now that it is done with an exchange, can take another one on. It cannot when libcurl had to
  /// repeat the request: it allows so many repeats for the whole life of a handle. Nor when an address failed before
  /// another one worked: the handle would tell that error again for a later request.
  bool canServeAgain(CURLcode code) const noexcept;
  /// Forgets the exchange, and everything of it, once libcurl no longer has the handle.
  void rest() noexcept;

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
  void setSecurity();
  void setLimits();
  void setTarget(const Authorities* authorities);
  void setMethod();
  void setHeaders();

  static curl_socket_t openSocket(void* self, curlsocktype purpose, curl_sockaddr* address) noexcept;
  static int onAttempt(void* self, char* serverAddress, char* ownAddress, int serverPort,
                       int ownPort) noexcept;
  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self) noexcept;
  bool acceptHeader(std::string_view line);
  bool acceptBody(std::string_view bytes);

  NSError failure(CURLcode code) const;

  const HTTPLimits limits_;
  std::shared_ptr<Exchange> exchange_;
  std::shared_ptr<CurlShare> share_;  // before the handle, which must let go of it first
  HeaderLines headers_;
  std::array<char, CURL_ERROR_SIZE> libraryText_{};
  std::unique_ptr<CURL, HandleDeleter> handle_;

  HTTPResponse response_;
  int socketError_ = 0;
  int attempts_ = 0;
  std::size_t headerBytes_ = 0;
  bool inBody_ = false;
  Stopped stopped_ = Stopped::no;
};

}  // namespace corvane
