#include "Host.hpp"

#include <Corvane/Get.hpp>

#include <curl/curl.h>

#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace bench {
namespace {

/// Gets a page and tells where it redirects to.
std::string redirectOf(const std::string& url, const std::string& authorities) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> page(curl_easy_init(), curl_easy_cleanup);
  curl_easy_setopt(page.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(page.get(), CURLOPT_CAINFO, authorities.c_str());
  curl_easy_setopt(page.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(page.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(page.get(), CURLOPT_NOBODY, 0L);
  curl_easy_setopt(
      page.get(), CURLOPT_WRITEFUNCTION,
      +[](char*, std::size_t size, std::size_t count, void*) { return size * count; });
  if (curl_easy_perform(page.get()) != CURLE_OK) return {};
  char* location = nullptr;
  curl_easy_getinfo(page.get(), CURLINFO_REDIRECT_URL, &location);
  return location ? location : "";
}

/// Visits the one-use address and the sign-in page, which answers at once, and follows its redirect back.
class Browser final : public corvane::Presenter {
 public:
  explicit Browser(std::string authorities) : authorities_(std::move(authorities)) {}

  std::shared_ptr<corvane::Cancellable> present(const std::string& url, const corvane::WindowHandle&,
                                                corvane::UniqueFunction<void()>) override {
    visit_ = std::jthread([url, authorities = authorities_] {
      const auto page = redirectOf(url, authorities);
      const auto callback = redirectOf(page, authorities);
      if (callback.starts_with("http://127.0.0.1:")) redirectOf(callback, authorities);
    });
    return nullptr;
  }

 private:
  const std::string authorities_;
  std::jthread visit_;
};

std::filesystem::path makeFolder() {
  auto name = (std::filesystem::temp_directory_path() / "corvane-bench-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder can be made");
  return name;
}

}  // namespace

Host::Host(const std::string& url, const std::string& authorities) : folder_(makeFolder()) {
  options_.google = corvane::GoogleEndpoints::at(url);
  options_.extraCAFile = authorities;
  options_.keychainBackend = corvane::KeychainBackend::encryptedFile;
  options_.keychainFolder = folder_ / "keychain";
  options_.presenter = std::make_shared<Browser>(authorities);
  options_.logLevel = corvane::LogLevel::error;
}

Host::~Host() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::shared_ptr<corvane::GoogleDriveAPIType> Host::signedIn(const std::string& email) {
  options_.loginHint = email;
  corvane::CorvaneFactory factory(
      corvane::dataFromText(R"({"client_id": "corvane-demo-client", "clientSecret": "corvane-demo-secret"})"),
      "bench", "", [] { return corvane::WindowHandle::terminal(); }, corvane::makeLinuxPlatform(options_));
  return factory.makeAPI(corvane::get(factory.makeAuthorizationProvider(nullptr)->signIn()));
}

}  // namespace bench
