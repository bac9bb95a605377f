// Usage: floor URL CA-FILE TOKEN-FILE
// The listing as an engineer writes it by hand who knows libcurl and simdjson well and wants nothing but speed: one
// thread, one connection, one buffer, no errors but the end. It sends the request that Corvane sends and keeps the
// same fields of every file.
//
// Known choices: libcurl inflates while it receives (zlib). On-Demand parsing, one pass over each object, a switch
// over the first letter of the raw key before the comparison. Times are read at fixed places. Texts go from the parser
// straight into their final std::string, in a vector that has its final size.
#include "ByHand.hpp"
#include "Usage.hpp"

#include <curl/curl.h>
#include <simdjson.h>

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace ondemand = simdjson::ondemand;
using bench::File;
using bench::Page;
using bench::timeFrom;

[[noreturn]] void die(const char* why) {
  std::fprintf(stderr, "floor: %s\n", why);
  std::exit(1);
}

std::string_view textOf(ondemand::value& value) {
  return value.get_string();
}

void readParents(File& file, ondemand::value& value) {
  auto& parents = file.parents.emplace();
  for (auto parent : value.get_array()) parents.emplace_back(std::string_view(parent.get_string()));
}

// Whether the raw key, which ends in a quotation mark, is this one; the padding makes reading ahead safe.
template <std::size_t size>
bool isKey(const char* key, const char (&name)[size]) {
  return std::memcmp(key, name, size - 1) == 0;
}

void readMember(File& file, const char* key, ondemand::value value) {
  switch (key[0]) {
    case 'i':
      if (isKey(key, "id\"")) file.id = textOf(value);
      if (isKey(key, "iconLink\"")) file.iconLink = textOf(value);
      break;
    case 'n':
      if (isKey(key, "name\"")) file.name = textOf(value);
      break;
    case 's':
      if (isKey(key, "size\"")) file.size = textOf(value);
      if (isKey(key, "shared\"")) file.shared = value.get_bool();
      break;
    case 't':
      if (isKey(key, "trashed\"")) file.trashed = value.get_bool();
      break;
    case 'p':
      if (isKey(key, "parents\"")) readParents(file, value);
      break;
    case 'm':
      if (isKey(key, "mimeType\"")) file.mimeType = textOf(value);
      if (isKey(key, "modifiedTime\"")) file.modifiedTime = timeFrom(textOf(value));
      break;
    case 'c':
      if (isKey(key, "createdTime\"")) file.createdTime = timeFrom(textOf(value));
      break;
    case 'w':
      if (isKey(key, "webViewLink\"")) file.webViewLink = textOf(value);
      break;
    default:
      break;
  }
}

class Listing {
 public:
  Listing(std::string url, const std::string& authorities, const std::string& token)
      : url_(std::move(url)), curl_(curl_easy_init()) {
    headers_ = curl_slist_append(headers_, ("Authorization: Bearer " + token).c_str());
    set(CURLOPT_HTTPHEADER, headers_);
    set(CURLOPT_USERAGENT, "Corvane/0.1.0 (gzip)");
    set(CURLOPT_ACCEPT_ENCODING, "gzip");
    set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    set(CURLOPT_CAINFO, authorities.c_str());
    set(CURLOPT_PROXY, "");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_WRITEFUNCTION, &Listing::append);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  ~Listing() {
    curl_easy_cleanup(curl_);
    curl_slist_free_all(headers_);
  }

  std::size_t run() {
    std::size_t files = 0;
    do {
      pages_.push_back(page(pages_.empty() ? std::string() : pages_.back().nextPageToken));
      files += pages_.back().files.size();
    } while (!pages_.back().nextPageToken.empty());
    return files;
  }

 private:
  static constexpr std::size_t filesPerPage = 500;

  template <class Value>
  void set(CURLoption option, Value value) {
    if (curl_easy_setopt(curl_, option, value) != CURLE_OK) die("libcurl refuses an option");
  }

  static std::size_t append(char* bytes, std::size_t size, std::size_t count, void* self) {
    static_cast<Listing*>(self)->body_.append(bytes, size * count);
    return size * count;
  }

  Page page(const std::string& token) {
    request(token);
    body_.reserve(body_.size() + simdjson::SIMDJSON_PADDING);
    auto document = parser_.iterate(body_.data(), body_.size(), body_.capacity());
    Page page;
    for (auto field : document.get_object()) {
      const char* const key = field.key().raw();
      if (isKey(key, "files\"")) {
        page.files.reserve(filesPerPage);
        for (auto entry : field.value().get_array()) {
          File& file = page.files.emplace_back();
          for (auto member : entry.get_object()) readMember(file, member.key().raw(), member.value());
        }
      } else if (isKey(key, "nextPageToken\"")) {
        page.nextPageToken = std::string_view(field.value().get_string());
      }
    }
    return page;
  }

  void request(const std::string& token) {
    const std::string url =
        url_ +
        "/drive/v3/"
        "files?fields=files%28id%2CmimeType%2Cname%2Csize%2Cshared%2Ctrashed%2CcreatedTime%2CmodifiedTime"
        "%2Cparents%2CiconLink%2CwebViewLink%29%2CnextPageToken&q=%27me%27%20in%20owners%20and%20trashed%20%"
        "3D%20"
        "false" +
        (token.empty() ? "" : "&pageToken=" + token) + "&pageSize=500&corpora=user&prettyPrint=false";
    set(CURLOPT_URL, url.c_str());
    body_.clear();
    if (curl_easy_perform(curl_) != CURLE_OK) die("the request failed");
    long status = 0;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) die("the answer is no page");
  }

  const std::string url_;
  CURL* const curl_;
  curl_slist* headers_ = nullptr;
  std::string body_;
  ondemand::parser parser_;
  std::vector<Page> pages_;
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 4) die("usage: floor URL CA-FILE TOKEN-FILE");
  curl_global_init(CURL_GLOBAL_DEFAULT);
  std::string token;
  std::getline(std::ifstream(arguments[3]), token);
  const auto start = bench::Usage::now();
  auto* const listing =
      new Listing(arguments[1], arguments[2], token);  // the pages are kept, also at the end
  const auto files = listing->run();
  bench::report(start, files);
  return 0;
}
