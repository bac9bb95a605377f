#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace corvane::test {

/// The invented secrets of the small Google: always the same, so that they can be looked for from the start.
struct FixedSecrets {
  static constexpr const char* clientSecret = "QmVuZWRpY3R1cw9f3a1cZr7uKXp2mLw8";
  static constexpr const char* code = "Zm9ydHVuYXRl7712e0Vb5nTqHs3xJd";
  static constexpr const char* accessToken = "ya29.SGVsdmV0aWNhbWVyaWRpYW4c2V2ZW50ZWVu0b9d4e";
  static constexpr const char* nextAccessToken = "ya29.R2FyYW1vbmQcGFyYWxsZWwZWlnaHRlZW451c7aa";
  static constexpr const char* refreshToken = "1//0Qm9kb25pbG9uZ2l0dWRlbmluZXRlZW4e83f20";
  static constexpr const char* idTokenSignature = "c2lnbmVkYnlub2JvZHlidXRzZWNyZXRhbnl3YXk5YzRhN2I";
};

/// All of the world that a sign-in needs, in a process of its own, whose memory is not the test's: a browser that says
/// yes, a token endpoint and a Drive with one file. Its tokens are to be refreshed at once, so that every request does.
class SmallGoogle {
 public:
  SmallGoogle();
  ~SmallGoogle();
  SmallGoogle(const SmallGoogle&) = delete;
  SmallGoogle& operator=(const SmallGoogle&) = delete;

  const std::string& baseURL() const { return baseURL_; }
  /// Has the browser open a sign-in page.
  void browse(const std::string& url);

 private:
  std::string baseURL_;
  int urls_ = -1;
  pid_t process_ = -1;
};

}  // namespace corvane::test
