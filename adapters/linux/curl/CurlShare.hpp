#pragma once

#include <curl/curl.h>

#include <new>

namespace corvane {

/// The connections, and TLS sessions to be resumed, of one client. Used and destroyed by the loop
/// only, so it needs no locks of libcurl's. Transfers hold it: the connections close with the last
/// of them.
class CurlShare {
 public:
  CurlShare() : handle_(curl_share_init()) {
    if (!handle_) throw std::bad_alloc();
    curl_share_setopt(handle_, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    curl_share_setopt(handle_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  }
  ~CurlShare() { curl_share_cleanup(handle_); }
  CurlShare(const CurlShare&) = delete;
  CurlShare& operator=(const CurlShare&) = delete;

  CURLSH* handle() const { return handle_; }

 private:
  CURLSH* handle_;
};

}  // namespace corvane
