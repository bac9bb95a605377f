#pragma once

#include <sys/types.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace corvane::test {

/// Debian's `chromedriver`, a WebDriver server of this test's own on a free port. Ended when dropped.
class ChromeDriver {
 public:
  explicit ChromeDriver(const std::filesystem::path& home);
  ~ChromeDriver();
  ChromeDriver(const ChromeDriver&) = delete;
  ChromeDriver& operator=(const ChromeDriver&) = delete;

  /// One command of the protocol (https://www.w3.org/TR/webdriver2/): its value. Throws with the server's words.
  nlohmann::json send(const std::string& method, const std::string& path,
                      const nlohmann::json& parameters = nlohmann::json::object()) const;

 private:
  void start(const std::filesystem::path& home);
  std::string listen();
  void stop() const;

  pid_t process_ = 0;
  int output_ = -1;
  std::string baseURL_;
};

/// Whether a command waits for the page that it leads to.
enum class PageLoad { awaited, notAwaited };

/// A headless Chromium without any past, which reaches nothing but this computer.
class Chromium {
 public:
  Chromium(const ChromeDriver& driver, const std::filesystem::path& profile,
           PageLoad pageLoad = PageLoad::awaited);
  ~Chromium();
  Chromium(const Chromium&) = delete;
  Chromium& operator=(const Chromium&) = delete;

  /// Opens an address and waits until the page has loaded, or could not be.
  void open(const std::string& url) const;
  void reload() const;
  void click(const std::string& selector) const;
  bool isTicked(const std::string& selector) const;
  std::string text(const std::string& selector = "body") const;
  std::string style(const std::string& selector, const std::string& property) const;
  std::string url() const;
  /// Waits for an address that begins so.
  void waitForURL(const std::string& beginning) const;

  std::string tab() const;
  /// Opens another one and goes to it.
  std::string newTab() const;
  void switchTo(const std::string& tab) const;

  void screenshot(const std::filesystem::path& file) const;
  void close();

 private:
  std::string element(const std::string& selector) const;
  nlohmann::json get(const std::string& command) const;
  nlohmann::json post(const std::string& command,
                      const nlohmann::json& parameters = nlohmann::json::object()) const;

  const ChromeDriver& driver_;
  std::string session_;
};

}  // namespace corvane::test
