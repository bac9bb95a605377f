#include "WebDriver.hpp"

#include <curl/curl.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace corvane::test {

namespace {

using nlohmann::json;

std::size_t append(char* data, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

/// The server as it runs in a home of its own: Chromium keeps more under it than in its profile.
std::vector<std::string> environmentAtHome(const std::filesystem::path& home) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable; ++variable)
    if (!std::string_view(*variable).starts_with("HOME=")) variables.emplace_back(*variable);
  variables.push_back("HOME=" + home.string());
  return variables;
}

std::string decoded(std::string_view base64) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char letter : base64) {
    const auto digit = digits.find(letter);
    if (digit == std::string_view::npos) break;  // the padding
    bits = bits << 6 | static_cast<unsigned>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xff);
  }
  return bytes;
}

}  // namespace

ChromeDriver::ChromeDriver(const std::filesystem::path& home) {
  constexpr int attempts = 5;
  std::string told;
  for (int i = 0; i < attempts && baseURL_.empty(); ++i) {
    start(home);
    told = listen();
    if (baseURL_.empty()) stop();
    // With port 0 it takes a free port of IPv6, and ends when somebody has the same one of IPv4.
    if (told.find("port not available") == std::string::npos) break;
  }
  if (baseURL_.empty()) throw std::runtime_error("chromedriver did not start: " + told);
}

void ChromeDriver::start(const std::filesystem::path& home) {
  std::array<int, 2> pipe{};
  if (::pipe2(pipe.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  output_ = pipe[0];
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&files, pipe[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  // A process group of its own, so that no browser of its can be left behind.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  auto variables = environmentAtHome(home);
  std::vector<char*> environment;
  for (auto& variable : variables) environment.push_back(variable.data());
  environment.push_back(nullptr);
  std::array<const char*, 3> command{"chromedriver", "--port=0", nullptr};
  const int failed = ::posix_spawnp(&process_, command.front(), &files, &attributes,
                                    const_cast<char* const*>(command.data()), environment.data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  ::close(pipe[1]);
  if (failed != 0) throw std::runtime_error("chromedriver cannot be started; the package is chromium-driver");
}

// Until it has told its port, or has ended.
std::string ChromeDriver::listen() {
  const std::string announcement = "successfully on port ";
  std::string told;
  for (char letter = 0; ::read(output_, &letter, 1) == 1;) {
    told += letter;
    if (letter == '\n' && told.find(announcement) != std::string::npos) break;
  }
  const auto port = told.find(announcement);
  if (port == std::string::npos) return told;
  const auto digits = port + announcement.size();
  baseURL_ = "http://127.0.0.1:" + told.substr(digits, told.find_first_not_of("0123456789", digits) - digits);
  return told;
}

ChromeDriver::~ChromeDriver() {
  stop();
}

void ChromeDriver::stop() const {
  ::kill(-process_, SIGKILL);  // the sessions are closed by now, or will never be
  ::waitpid(process_, nullptr, 0);
  ::close(output_);
}

json ChromeDriver::send(const std::string& method, const std::string& path, const json& parameters) const {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> request(curl_easy_init(), curl_easy_cleanup);
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
      curl_slist_append(nullptr, "Content-Type: application/json"), curl_slist_free_all);
  const auto url = baseURL_ + path;
  const auto body = parameters.dump();
  std::string answer;
  curl_easy_setopt(request.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(request.get(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(request.get(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(request.get(), CURLOPT_TIMEOUT, 60L);
  curl_easy_setopt(request.get(), CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(request.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
  if (method == "POST") curl_easy_setopt(request.get(), CURLOPT_COPYPOSTFIELDS, body.c_str());
  curl_easy_setopt(request.get(), CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(request.get(), CURLOPT_WRITEDATA, &answer);
  if (const auto code = curl_easy_perform(request.get()); code != CURLE_OK)
    throw std::runtime_error(path + ": " + curl_easy_strerror(code));
  auto value = json::parse(answer).at("value");
  if (value.is_object() && value.contains("error")) throw std::runtime_error(path + ": " + value.dump());
  return value;
}

Chromium::Chromium(const ChromeDriver& driver, const std::filesystem::path& profile, PageLoad pageLoad)
    : driver_(driver) {
  const json options = {{"args",
                         {"--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
                          "--disable-background-networking", "--disable-component-update", "--disable-sync",
                          "--disable-dev-shm-usage", "--no-proxy-server",
                          "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1", "--window-size=900,760",
                          "--user-data-dir=" + profile.string()}}};
  const json wanted = {{"browserName", "chrome"},
                       {"goog:chromeOptions", options},
                       {"pageLoadStrategy", pageLoad == PageLoad::awaited ? "normal" : "none"},
                       {"timeouts", {{"implicit", 10'000}, {"pageLoad", 30'000}}}};
  session_ = driver_.send("POST", "/session", {{"capabilities", {{"alwaysMatch", wanted}}}}).at("sessionId");
}

Chromium::~Chromium() {
  try {
    close();
  } catch (const std::exception&) {
    // A destructor that throws would end all tests.
  }
}

void Chromium::close() {
  if (const auto session = std::exchange(session_, {}); !session.empty())
    driver_.send("DELETE", "/session/" + session);
}

json Chromium::get(const std::string& command) const {
  return driver_.send("GET", "/session/" + session_ + command);
}

json Chromium::post(const std::string& command, const json& parameters) const {
  return driver_.send("POST", "/session/" + session_ + command, parameters);
}

std::string Chromium::element(const std::string& selector) const {
  const auto found = post("/element", {{"using", "css selector"}, {"value", selector}});
  return "/element/" + found.begin().value().get<std::string>();
}

void Chromium::open(const std::string& url) const {
  try {
    post("/url", {{"url", url}});
  } catch (const std::runtime_error& error) {
    if (std::string_view(error.what()).find("net::ERR_") == std::string_view::npos) throw;
  }
}

void Chromium::reload() const {
  try {
    post("/refresh");
  } catch (const std::runtime_error& error) {
    if (std::string_view(error.what()).find("net::ERR_") == std::string_view::npos) throw;
  }
}

void Chromium::click(const std::string& selector) const {
  post(element(selector) + "/click");
}

bool Chromium::isTicked(const std::string& selector) const {
  return get(element(selector) + "/selected");
}

std::string Chromium::text(const std::string& selector) const {
  return get(element(selector) + "/text");
}

std::string Chromium::style(const std::string& selector, const std::string& property) const {
  return get(element(selector) + "/css/" + property);
}

std::string Chromium::url() const {
  return get("/url");
}

void Chromium::waitForURL(const std::string& beginning) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < deadline)
    if (url().starts_with(beginning)) return;
  throw std::runtime_error("the browser is at " + url() + " and not at " + beginning);
}

std::string Chromium::tab() const {
  return get("/window");
}

std::string Chromium::newTab() const {
  const std::string opened = post("/window/new", {{"type", "tab"}}).at("handle");
  switchTo(opened);
  return opened;
}

void Chromium::switchTo(const std::string& tab) const {
  post("/window", {{"handle", tab}});
}

void Chromium::screenshot(const std::filesystem::path& file) const {
  std::ofstream(file, std::ios::binary) << decoded(get("/screenshot").get<std::string>());
}

}  // namespace corvane::test
