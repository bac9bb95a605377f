// Usage: bench-about-floor URL CA-FILE TOKEN-FILE REQUESTS FURTHER-CONNECTIONS [worker]
// The same request with libcurl's easy interface and nothing else: the answer lands in a buffer and is not read.
// CA-FILE holds all authorities, so that libcurl's cache of them works. With `worker` the requests are made by another
// thread, which the caller wakes and waits for, as whoever must not block its caller does at least.
#include "Operations.hpp"

#include <curl/curl.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace {

[[noreturn]] void die(const char* why) {
  std::fprintf(stderr, "bench-about-floor: %s\n", why);
  std::exit(1);
}

std::size_t append(char* bytes, std::size_t size, std::size_t count, void* body) {
  static_cast<std::string*>(body)->append(bytes, size * count);
  return size * count;
}

class Client {
 public:
  Client(const std::string& url, const char* authorities, const std::string& token)
      : curl_(curl_easy_init()) {
    headers_ = curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str());
    set(CURLOPT_URL, (url + "/drive/v3/about?fields=storageQuota%28limit%2Cusage%2CusageInDrive%2C"
                            "usageInDriveTrash%29%2CappInstalled%2CmaxUploadSize%2Cuser%28displayName%2C"
                            "photoLink%2Cme%2CpermissionId%2CemailAddress%29&prettyPrint=false")
                         .c_str());
    set(CURLOPT_HTTPHEADER, headers_);
    set(CURLOPT_USERAGENT, "Corvane/0.1.0 (gzip)");
    set(CURLOPT_ACCEPT_ENCODING, "gzip");
    set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
    set(CURLOPT_CAINFO, authorities);
    set(CURLOPT_PROXY, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_WRITEFUNCTION, append);
    set(CURLOPT_WRITEDATA, &body_);
  }
  ~Client() {
    curl_easy_cleanup(curl_);
    curl_slist_free_all(headers_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  void request() {
    body_.clear();
    if (curl_easy_perform(curl_) != CURLE_OK) die("the request failed");
    long status = 0;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) die("the answer is no success");
  }

  /// From now on as a stranger: a connection for each request, and a whole handshake for each connection. The handle
  /// stays, as it keeps the authorities.
  void forgetConnections() {
    set(CURLOPT_FRESH_CONNECT, 1L);
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
  }

 private:
  template <class Value>
  void set(CURLoption option, Value value) {
    if (curl_easy_setopt(curl_, option, value) != CURLE_OK) die("libcurl refuses an option");
  }

  CURL* const curl_;
  curl_slist* headers_ = nullptr;
  std::string body_;
};

/// One thread that does one thing at a time for another, by the cheapest means the library has.
class Worker {
 public:
  void run(const std::function<void()>& task) {
    task_ = &task;
    begin_.release();
    done_.acquire();
  }
  ~Worker() {
    task_ = nullptr;
    begin_.release();
  }

 private:
  void work() {
    for (begin_.acquire(); task_; begin_.acquire()) {
      (*task_)();
      done_.release();
    }
  }

  const std::function<void()>* task_ = nullptr;
  std::binary_semaphore begin_{0}, done_{0};
  std::jthread thread_{[this] { work(); }};
};

}  // namespace

int main(int count, char** arguments) {
  const auto start = bench::Usage::now();
  const bool onWorker = count == 7 && std::string_view(arguments[6]) == "worker";
  if (count != 6 && !onWorker)
    die("usage: bench-about-floor URL CA-FILE TOKEN-FILE REQUESTS FURTHER-CONNECTIONS [worker]");
  curl_global_init(CURL_GLOBAL_DEFAULT);
  std::string token;
  std::getline(std::ifstream(arguments[3]), token);
  Client client(arguments[1], arguments[2], token);
  std::optional<Worker> worker;
  if (onWorker) worker.emplace();
  const std::function<void()> request = [&] { client.request(); };
  bool forgetful = false;
  bench::measureOperations(
      {std::stoul(arguments[4]), std::stoul(arguments[5])}, start,
      [&] { onWorker ? worker->run(request) : request(); },
      [&] {
        if (!std::exchange(forgetful, true)) client.forgetConnections();
        client.request();
      });
  return 0;
}
