#include "PeerUser.hpp"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <string>

namespace corvane {

namespace {

// The kernel's uid for users that this process's user namespace does not map (user_namespaces(7)).
constexpr uid_t overflowUser = 65534;

std::string_view takeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  const auto word = line.substr(0, line.find(' '));
  line.remove_prefix(word.size());
  return word;
}

template <class Number>
std::optional<Number> number(std::string_view text, int base) {
  Number value = 0;
  const auto* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value, base);
  return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

// "0100007F:1F90", both in hexadecimal.
std::optional<std::uint16_t> portOf(std::string_view address) {
  const auto colon = address.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  return number<std::uint16_t>(address.substr(colon + 1), 16);
}

}  // namespace

std::optional<uid_t> peerUserIn(std::string_view table, LoopbackPorts ports) {
  while (!table.empty()) {
    auto line = table.substr(0, table.find('\n'));
    table.remove_prefix(std::min(line.size() + 1, table.size()));
    takeWord(line);  // the row's number
    const auto local = portOf(takeWord(line));
    const auto remote = portOf(takeWord(line));
    if (local != ports.peer || remote != ports.own) continue;
    for (int skipped = 0; skipped < 4; ++skipped) takeWord(line);  // state, queues, timer, retransmissions
    return number<uid_t>(takeWord(line), 10);
  }
  return std::nullopt;
}

std::optional<uid_t> peerUser(LoopbackPorts ports) {
  for (const auto* path : {"/proc/self/net/tcp", "/proc/self/net/tcp6"}) {
    std::ifstream file(path);
    const std::string table{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (const auto user = peerUserIn(table, ports)) return user;
  }
  return std::nullopt;
}

bool isAnotherUser(std::optional<uid_t> peer) {
  return peer && *peer != ::getuid() && *peer != ::geteuid() && *peer != 0 && *peer != overflowUser;
}

}  // namespace corvane
