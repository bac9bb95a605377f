#include "CredentialsFile.hpp"

#include "Failure.hpp"

#include <fcntl.h>
#include <linux/magic.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <map>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace corvane::cli {
namespace {

/// Texts that are wiped when dropped; a client secret is too long to be kept inside the string itself.
using WipedText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;
using JSONValue = nlohmann::basic_json<std::map, std::vector, WipedText>;

constexpr std::size_t maxFileSize = 64 * 1024;  // Google's file has less than 1 KiB

Failure wrong(const std::string& name, const std::string& what) {
  return Failure::usage("The credentials file " + name + " " + what + ".",
                        "Pass the JSON file that Google's console offers for an OAuth client of the type "
                        "\"Desktop app\": --credentials FILE.");
}

std::string systemReason() {
  return std::generic_category().message(errno);
}

/// Closes what it holds.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int number() const { return number_; }

 private:
  int number_;
};

/// A pipe with a name in a folder, whose writer may open it later than we do.
bool isNamedPipe(int file) {
  struct stat status {};
  struct statfs system {};
  return ::fstat(file, &status) == 0 && S_ISFIFO(status.st_mode) && ::fstatfs(file, &system) == 0 &&
         system.f_type != PIPEFS_MAGIC;
}

/// Whether the writer is gone.
bool waitForWriter(int file, int interruptDescriptor) {
  std::array<pollfd, 2> waiting{{{file, POLLIN, 0}, {interruptDescriptor, POLLIN, 0}}};
  while (::poll(waiting.data(), waiting.size(), -1) < 0 && errno == EINTR) {
  }
  if (waiting[1].revents != 0) throw Interrupted();
  return (waiting[0].revents & (POLLHUP | POLLERR)) != 0;
}

/// Read without stdio, whose buffers would keep the secret, and without blocking, which Ctrl-C
/// would not end.
Data contents(const std::string& path, int interruptDescriptor) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.number() < 0) throw wrong(path, "cannot be opened: " + systemReason());
  struct stat status {};
  if (::fstat(file.number(), &status) == 0 && S_ISDIR(status.st_mode)) throw wrong(path, "is a folder");
  bool writerMayCome = isNamedPipe(file.number());
  Data bytes(maxFileSize + 1);
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const auto count = ::read(file.number(), bytes.data() + filled, bytes.size() - filled);
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
      writerMayCome = false;
    } else if (count == 0 && !writerMayCome) {
      break;
    } else if (count == 0 || errno == EAGAIN) {
      if (waitForWriter(file.number(), interruptDescriptor)) writerMayCome = false;
    } else if (errno != EINTR) {
      throw wrong(path, "cannot be read: " + systemReason());
    }
  }
  if (filled > maxFileSize) throw wrong(path, "is too large for an OAuth client");
  bytes.resize(filled);
  return bytes;
}

/// The parser keeps the last token it read, unwiped, and all of it that made its memory grow. So the document is read as
/// the first of two elements: the blanks before it grow that memory, those after it take the last token's place.
/// Discarded when it is not one JSON value.
JSONValue parsed(std::string_view document) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";  // may be ignored (RFC 8259 section 8.1)
  if (document.starts_with(byteOrderMark)) document.remove_prefix(byteOrderMark.size());
  const WipedText blanks(document.size(), ' ');
  WipedText list;
  list.reserve(3 * document.size() + 5);
  list.append("[").append(blanks).append(document).append(",\"").append(blanks).append("\"]");
  auto both = JSONValue::parse(list.begin(), list.end(), nullptr, /*allow_exceptions=*/false);
  if (!both.is_array() || both.size() != 2) return JSONValue(JSONValue::value_t::discarded);
  return std::move(both.front());
}

WipedText text(const JSONValue& object, const char* key, const std::string& name) {
  const auto found = object.find(key);
  if (found == object.end()) throw wrong(name, "has no \"" + std::string(key) + "\"");
  if (!found->is_string()) throw wrong(name, "has a \"" + std::string(key) + "\" that is not a text");
  if (found->get_ref<const WipedText&>().empty())
    throw wrong(name, "has an empty \"" + std::string(key) + "\"");
  return found->get<WipedText>();
}

Data moduleForm(const JSONValue& client, const char* secretKey, const std::string& name) {
  const WipedText clientID = text(client, "client_id", name);
  const JSONValue document = {{"client_id", clientID}, {"clientSecret", text(client, secretKey, name)}};
  return dataFromText(document.dump());
}

}  // namespace

Data readCredentialsFile(const std::string& path, int interruptDescriptor) {
  return credentialsFrom(contents(path, interruptDescriptor), path);
}

Data credentialsFrom(const Data& document, const std::string& name) {
  const JSONValue value = parsed(textView(document));
  if (value.is_discarded()) throw wrong(name, "is not JSON");
  if (!value.is_object()) throw wrong(name, "holds no JSON object");
  if (const auto installed = value.find("installed"); installed != value.end()) {
    if (!installed->is_object()) throw wrong(name, "has an \"installed\" that is not an object");
    return moduleForm(*installed, "client_secret", name);
  }
  if (value.contains("web"))
    throw wrong(name, "is for a web application, which cannot sign in from a computer's own programs");
  if (value.value("type", JSONValue()) == "service_account")
    throw wrong(name, "is for a service account, which nobody can sign in to");
  return moduleForm(value, "clientSecret", name);
}

}  // namespace corvane::cli
