#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CorvaneEmulator/Gate.hpp>

namespace corvane::emulator {

/// How a body is delimited on the wire.
enum class Framing { ContentLength, Chunked, BrokenChunks, UntilClose };

/// One thing that goes wrong with one answer. Three groups of members, which may be combined: *what* is
/// answered instead of the service's own answer, *when*, and *how* it travels. A default-constructed fault
/// changes nothing. When the answer is replaced the service does not see the request, unless `performed`.
struct Fault {
  // What.
  std::optional<int> status = {};  ///< a Google JSON error with `reason` and `message`, unless `body` is set
  std::string reason = {};
  std::string message = {};
  std::optional<std::string> body = {};  ///< literal body; status 200 unless `status` says otherwise
  std::string contentType = "application/json; charset=UTF-8";
  std::vector<std::pair<std::string, std::string>> headers = {};  ///< added to the answer
  std::optional<std::string> raw = {};         ///< the whole answer byte by byte, then the connection closes
  std::optional<std::uint64_t> hugeBody = {};  ///< a JSON object of this many decoded bytes, gzipped if asked
  bool performed = false;                      ///< the request takes effect although its answer is replaced

  // When.
  std::chrono::milliseconds delay{0};
  std::shared_ptr<Gate> gate = {};            ///< the answer waits here ...
  std::optional<std::size_t> gateAfter = {};  ///< ... after this many bytes of the body, if set

  // How.
  std::size_t slowBytes = 0;  ///< body in pieces of this size, `slowInterval` apart; 0: at once
  std::chrono::milliseconds slowInterval{0};
  std::optional<std::size_t> resetAfter = {};      ///< RST after this many bytes, headers included
  std::optional<std::size_t> closeAfterBody = {};  ///< FIN after this many bytes of the body
  std::int64_t lengthDelta = 0;                    ///< added to Content-Length; the connection then closes
  bool uncompressed = false;                       ///< plain, although gzip was asked for
  bool corruptGzip = false;                        ///< gzip, damaged in the middle
  bool endlessHeaders = false;                     ///< header lines until the client gives up
  std::vector<int> interim = {};                   ///< 1xx answers before the real one
  Framing framing = Framing::ContentLength;
  bool closeInsteadOfAnswer = false;  ///< FIN once the request has been read
  bool closeAfterAnswer = false;      ///< FIN after the answer, without having announced it

  /// A Google JSON error.
  static Fault error(int status, std::string reason, std::string message = {});
  /// The given markup, as a proxy or an overloaded front end sends it.
  static Fault html(int status, std::string markup = "<html><body><h1>Error</h1></body></html>");
  static Fault empty(int status);
  /// What a network's sign-in page answers: 200 with a foreign body.
  static Fault content(std::string body, std::string contentType = "text/html; charset=utf-8");
  static Fault unauthorized();
  static Fault redirect(std::string location, int status = 302);
  static Fault rawBytes(std::string bytes);
  static Fault resetAfterBytes(std::size_t bytes);
  static Fault closeAfterBodyBytes(std::size_t bytes);
  static Fault closeWithoutAnswer();
  static Fault held(std::shared_ptr<Gate> gate);
  static Fault slow(std::size_t bytes, std::chrono::milliseconds interval);

  Fault& withHeader(std::string name, std::string value) & {
    headers.emplace_back(std::move(name), std::move(value));
    return *this;
  }
  Fault withHeader(std::string name, std::string value) && {
    headers.emplace_back(std::move(name), std::move(value));
    return std::move(*this);
  }

  /// Whether the service's own answer is not used.
  bool replacesAnswer() const;
  /// A few words for failure messages.
  std::string description() const;
};

}  // namespace corvane::emulator
