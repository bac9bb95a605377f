#include "server/WirePlan.hpp"

#include <algorithm>
#include <limits>
#include <string_view>

#include "server/Gzip.hpp"
#include "text/Times.hpp"

namespace corvane::emulator {
namespace {

// Below this, compressing costs more than it saves.
constexpr std::size_t smallestToCompress = 512;

std::string_view reasonPhrase(int status) {
  switch (status) {
    case 100:
      return "Continue";
    case 102:
      return "Processing";
    case 103:
      return "Early Hints";
    case 200:
      return "OK";
    case 204:
      return "No Content";
    case 302:
      return "Found";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 429:
      return "Too Many Requests";
    case 500:
      return "Internal Server Error";
    case 502:
      return "Bad Gateway";
    case 503:
      return "Service Unavailable";
    case 504:
      return "Gateway Timeout";
    default:
      return "Status";
  }
}

std::string statusLine(int status) {
  return "HTTP/1.1 " + std::to_string(status) + " " + std::string(reasonPhrase(status)) + "\r\n";
}

bool hasNoBody(int status) {
  return status < 200 || status == 204 || status == 304;
}

std::string hexadecimal(std::size_t value) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  do {
    text.insert(text.begin(), digits[value & 15U]);
    value >>= 4U;
  } while (value > 0);
  return text;
}

void compress(Response& response, const WireRequest& request, const Fault& fault) {
  const bool wanted = request.gzip && !fault.uncompressed && response.body->size() >= smallestToCompress;
  if (!response.gzipped && (wanted || fault.corruptGzip)) {
    response.body = std::make_shared<const std::string>(gzipped(*response.body));
    response.gzipped = true;
  }
  if (fault.corruptGzip) {
    std::string damaged = *response.body;
    for (std::size_t i = damaged.size() / 2; i < std::min(damaged.size(), damaged.size() / 2 + 8); ++i) {
      damaged[i] = static_cast<char>(damaged[i] ^ 0x55);
    }
    response.body = std::make_shared<const std::string>(std::move(damaged));
  }
}

std::string chunked(std::string_view body, bool broken) {
  constexpr std::size_t chunk = 4096;
  std::string text;
  for (std::size_t i = 0; i < body.size(); i += chunk) {
    const auto piece = body.substr(i, chunk);
    text.append(hexadecimal(piece.size())).append("\r\n").append(piece).append("\r\n");
  }
  return text + (broken ? "this is no chunk size\r\n" : "0\r\n\r\n");
}

/// Status line and header lines, with the empty line.
std::string headOf(const Response& response, const Fault& fault, std::uint64_t bodyLength, bool keepAlive) {
  std::string head = statusLine(response.status);
  const auto line = [&head](std::string_view name, std::string_view value) {
    head.append(name).append(": ").append(value).append("\r\n");
  };
  line("Date", httpDate(std::chrono::system_clock::now()));
  line("Server", "corvane-emulator");
  for (const auto& [name, value] : response.headers) line(name, value);
  if (response.gzipped) line("Content-Encoding", "gzip");
  if (fault.framing == Framing::Chunked || fault.framing == Framing::BrokenChunks) {
    line("Transfer-Encoding", "chunked");
  } else if (fault.framing == Framing::ContentLength && !hasNoBody(response.status)) {
    const auto announced = static_cast<std::int64_t>(bodyLength) + fault.lengthDelta;
    line("Content-Length", std::to_string(std::max<std::int64_t>(announced, 0)));
  }
  if (!keepAlive) line("Connection", "close");
  return head + "\r\n";
}

class Planner {
 public:
  Planner(const WireRequest& request, const Fault& fault) : request_(request), fault_(fault) {}

  WirePlan plan(Response response) {
    before();
    if (fault_.closeInsteadOfAnswer) {
      add({.kind = WireStep::Kind::Close});
      return finish(0);
    }
    for (const int status : fault_.interim) write(statusLine(status) + "\r\n");
    if (fault_.raw) {
      write(*fault_.raw);
      add({.kind = WireStep::Kind::Close});
      return finish(0);
    }
    if (fault_.endlessHeaders) {
      writeEndlessHeaders(response.status);
    } else if (fault_.hugeBody && (!request_.gzip || fault_.uncompressed)) {
      writeHugeBody(response);
    } else {
      writeAnswer(std::move(response));
    }
    return finish(status_);
  }

 private:
  void before() {
    if (fault_.delay.count() > 0) add({.kind = WireStep::Kind::Wait, .wait = fault_.delay});
    if (fault_.gate && !fault_.gateAfter) add({.kind = WireStep::Kind::Hold, .gate = fault_.gate});
  }

  void writeEndlessHeaders(int status) {
    status_ = status;
    write(statusLine(status));
    std::string lines;
    while (lines.size() < 16384) lines += "X-Endless: 0123456789abcdef0123456789abcdef\r\n";
    add({.head = std::move(lines), .repeat = std::numeric_limits<std::uint64_t>::max()});
  }

  void writeHugeBody(const Response& response) {
    status_ = response.status;
    const auto fixed = hugeStart.size() + hugeEnd.size();
    const auto fill = *fault_.hugeBody - std::min<std::uint64_t>(*fault_.hugeBody, fixed);
    constexpr std::size_t piece = 1 << 16;
    write(headOf(response, fault_, fill + fixed, keepAlive()) + std::string(hugeStart));
    if (fill >= piece) add({.head = std::string(piece, hugeFill), .repeat = fill / piece});
    write(std::string(fill % piece, hugeFill) + std::string(hugeEnd));
    closeIfNeeded();
  }

  void writeAnswer(Response response) {
    status_ = response.status;
    if (fault_.hugeBody) {
      response.body = std::make_shared<const std::string>(gzippedHugeObject(*fault_.hugeBody));
      response.gzipped = true;
    }
    compress(response, request_, fault_);
    auto head = headOf(response, fault_, response.body->size(), keepAlive());
    if (fault_.framing == Framing::Chunked || fault_.framing == Framing::BrokenChunks) {
      response.body = std::make_shared<const std::string>(
          chunked(*response.body, fault_.framing == Framing::BrokenChunks));
    }
    if (hasNoBody(response.status)) response.body = std::make_shared<const std::string>();
    if (fault_.resetAfter) {
      writeThenReset(head, *response.body);
    } else {
      writeBody(std::move(head), response.body);
      closeIfNeeded();
    }
  }

  void writeThenReset(const std::string& head, const std::string& body) {
    write((head + body).substr(0, *fault_.resetAfter));
    add({.kind = WireStep::Kind::Reset});
  }

  /// Head and body in as few writes as the fault allows.
  void writeBody(std::string head, const std::shared_ptr<const std::string>& body) {
    const auto total = std::min(fault_.closeAfterBody.value_or(body->size()), body->size());
    const auto gateAt = fault_.gate && fault_.gateAfter ? std::min(*fault_.gateAfter, total) : total;
    const auto pace = fault_.slowBytes > 0 ? fault_.slowBytes : std::max<std::size_t>(total, 1);
    bool gated = !(fault_.gate && fault_.gateAfter);
    std::size_t from = 0;
    do {
      const auto until = gated ? total : gateAt;
      const auto length = std::min(pace, until - from);
      add({.head = std::move(head), .body = body, .from = from, .length = length});
      head.clear();
      from += length;
      if (!gated && from == gateAt) {
        add({.kind = WireStep::Kind::Hold, .gate = fault_.gate});
        gated = true;
      }
      if (from < total && fault_.slowBytes > 0) {
        add({.kind = WireStep::Kind::Wait, .wait = fault_.slowInterval});
      }
    } while (from < total);
  }

  bool keepAlive() const { return request_.keepAlive && fault_.framing != Framing::UntilClose; }

  void closeIfNeeded() {
    const bool unsound = fault_.closeAfterBody || fault_.lengthDelta != 0 || fault_.closeAfterAnswer ||
                         fault_.framing == Framing::BrokenChunks;
    if (!keepAlive() || unsound) add({.kind = WireStep::Kind::Close});
  }

  void write(std::string text) { add({.head = std::move(text)}); }
  void add(WireStep step) { plan_.steps.push_back(std::move(step)); }

  WirePlan finish(int status) {
    plan_.status = status;
    return std::move(plan_);
  }

  const WireRequest& request_;
  const Fault& fault_;
  WirePlan plan_;
  int status_ = 0;
};

}  // namespace

WirePlan planAnswer(Response response, const WireRequest& request, const Fault& fault) {
  for (const auto& [name, value] : fault.headers) {
    std::erase_if(response.headers, [&name = name](const auto& header) { return header.first == name; });
    response.headers.emplace_back(name, value);
  }
  return Planner(request, fault).plan(std::move(response));
}

}  // namespace corvane::emulator
