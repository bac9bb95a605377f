#include "PeerUser.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>

namespace corvane {

namespace {

constexpr std::string_view established = "01";  // TCP_ESTABLISHED, include/net/tcp_states.h

std::string_view takeWord(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  const auto word = line.substr(0, line.find_first_of(" \t"));
  line.remove_prefix(word.size());
  return word;
}

template <class Number>
std::optional<Number> number(std::string_view text) {
  Number value = 0;
  const auto* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

std::string hexadecimal(std::uint32_t value, int digits) {
  constexpr std::string_view letters = "0123456789ABCDEF";
  std::string text;
  for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) text += letters[(value >> shift) & 0xFU];
  return text;
}

// As the machine reads the words.
std::string words(std::span<const unsigned char> bytes) {
  std::string text;
  for (; bytes.size() >= sizeof(std::uint32_t); bytes = bytes.subspan(sizeof(std::uint32_t))) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data(), sizeof word);
    text += hexadecimal(word, 8);
  }
  return text;
}

// A browser may reach an IPv4 address from a socket of IPv6, as ::ffff:a.b.c.d.
bool isEnd(std::string_view written, std::string_view end) {
  constexpr std::array<unsigned char, 12> mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
  if (const auto prefix = words(mapped); written.starts_with(prefix)) written.remove_prefix(prefix.size());
  return written == end;
}

std::optional<std::string> contents(const char* path) {
  std::ifstream file(path);
  if (!file) return std::nullopt;
  return std::string{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Whether the number stands for users that this process cannot see.
bool isOverflowUser(uid_t user) {
  constexpr uid_t usual = 65534;
  const auto kernels = contents("/proc/sys/kernel/overflowuid");
  const auto overflow = kernels ? number<uid_t>(kernels->substr(0, kernels->find('\n'))) : std::nullopt;
  return user == overflow.value_or(usual) &&
         !seesEveryUser(contents("/proc/self/uid_map").value_or(std::string()));
}

bool isAnotherUser(uid_t user) {
  return user != ::getuid() && user != ::geteuid() && user != 0 && !isOverflowUser(user);
}

}  // namespace

std::string socketEnd(std::span<const unsigned char> address, std::uint16_t port) {
  return words(address) + ':' + hexadecimal(port, 4);
}

std::optional<uid_t> peerUserIn(std::string_view table, const SocketEnds& ends) {
  while (!table.empty()) {
    auto line = table.substr(0, table.find('\n'));
    table.remove_prefix(std::min(line.size() + 1, table.size()));
    takeWord(line);  // the row's number
    const auto local = takeWord(line);
    const auto remote = takeWord(line);
    const auto state = takeWord(line);
    if (!isEnd(local, ends.peer) || !isEnd(remote, ends.own) || state != established) continue;
    for (int skipped = 0; skipped < 3; ++skipped) takeWord(line);  // queues, timer, retransmissions
    const auto user = number<uid_t>(takeWord(line));
    takeWord(line);  // time-outs
    // A socket that its program has closed has no inode, and root's number.
    if (user && takeWord(line) != "0") return user;
  }
  return std::nullopt;
}

bool isStranger(const SocketEnds& ends) {
  constexpr int looks = 2;  // a row may be missed while the kernel's table changes
  bool hasTable = false;
  for (int look = 0; look < looks; ++look) {
    for (const auto* path : {"/proc/self/net/tcp", "/proc/self/net/tcp6"}) {
      const auto table = contents(path);
      hasTable = hasTable || table;
      if (!table) continue;
      if (const auto user = peerUserIn(*table, ends)) return isAnotherUser(*user);
    }
  }
  return hasTable;
}

bool seesEveryUser(std::string_view uidMap) {
  constexpr std::uint64_t everyUser = 0xFFFFFFFF;  // the last number is none
  std::uint64_t seen = 0;
  while (!uidMap.empty()) {
    auto line = uidMap.substr(0, uidMap.find('\n'));
    uidMap.remove_prefix(std::min(line.size() + 1, uidMap.size()));
    takeWord(line);
    takeWord(line);
    seen += number<std::uint32_t>(takeWord(line)).value_or(0);
  }
  return seen >= everyUser;
}

}  // namespace corvane
