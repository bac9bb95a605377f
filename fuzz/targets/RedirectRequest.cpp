#include "Input.hpp"
#include "oauth/CallbackRequest.hpp"
#include "oauth/FormEncoding.hpp"
#include "oauth/RequestHead.hpp"

#include <string>
#include <variant>

// What any program on this computer may send to a sign-in's listener.

namespace corvane::fuzz {
namespace {

bool isWithin(std::string_view part, std::string_view whole) {
  return part.empty() ||
         (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

void readHead(std::string_view text) {
  const auto head = RequestHead::parse(text);
  if (!head) return;
  for (const auto part : {head->method, head->path, head->query, head->host})
    require(isWithin(part, text), "a head's parts lie in the request");
  require(text.find("\r\n\r\n") != text.npos, "a head is whole");
  require(head->path.starts_with('/'), "a path begins at the root");
  require(head->path.find_first_of("? \r\n") == head->path.npos, "a path is one");
}

void readForm(std::string_view text) {
  const auto parameters = parseForm(text);
  if (!parameters) return;
  FormBody body;
  for (const auto& [name, value] : *parameters) body.add(name, value.reveal());
  const Data encoded = body.take();
  require(parseForm(textView(encoded)) == parameters, "a form survives encoding");
}

void judge(std::string_view text) {
  const ExpectedCallback expected{"127.0.0.1:40000", "/fuzz-path", Secret("fuzz-state"),
                                  "https://accounts.google.com"};
  const Callback callback = readCallback(text, expected);
  const auto* code = std::get_if<CallbackCode>(&callback);
  const auto* refusal = std::get_if<CallbackRefusal>(&callback);
  if (!code && !refusal) return;
  require(text.starts_with("GET /fuzz-path?"), "only a GET of the path counts");
  require(text.find("127.0.0.1:40000") != text.npos, "only a request to the listener counts");
  const auto head = RequestHead::parse(text);
  const auto parameters = head ? parseForm(head->query) : std::nullopt;
  const Secret* state = parameters ? findParameter(*parameters, "state") : nullptr;
  require(state && state->reveal() == "fuzz-state", "only the request with the state counts");
  require(!code || !code->code.empty(), "a code is not empty");
  require(!refusal || !refusal->error.empty(), "a refusal is not empty");
}

}  // namespace
}  // namespace corvane::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto text = corvane::fuzz::inputText(bytes, size);
  corvane::fuzz::readHead(text);
  corvane::fuzz::readForm(text);
  corvane::fuzz::judge(text);
  return 0;
}
