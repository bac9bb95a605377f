#include "CallbackRequest.hpp"

#include "ConstantTime.hpp"
#include "FormEncoding.hpp"
#include "RequestHead.hpp"

#include <utility>

namespace corvane {

namespace {

std::string_view valueOf(const Secret* parameter) {
  return parameter ? parameter->reveal() : std::string_view();
}

Callback readParameters(const FormParameters& parameters, const ExpectedCallback& expected) {
  const Callback stray = StrayRequest{SignInPage::badRequest};
  if (!equalInConstantTime(valueOf(findParameter(parameters, "state")), expected.state.reveal()))
    return stray;
  const auto* code = findParameter(parameters, "code");
  const auto* error = findParameter(parameters, "error");
  if ((code != nullptr) == (error != nullptr) || valueOf(code ? code : error).empty()) return stray;
  const auto* issuer = findParameter(parameters, "iss");
  if (issuer && issuer->reveal() != expected.issuer) return ForeignIssuer{};
  if (code) return CallbackCode{*code};
  return CallbackRefusal{std::string(error->reveal()),
                         std::string(valueOf(findParameter(parameters, "error_description")))};
}

}  // namespace

Callback readCallback(std::string_view text, const ExpectedCallback& expected) {
  const auto head = RequestHead::parse(text);
  if (!head || head->host != expected.host) return StrayRequest{SignInPage::badRequest};
  if (!equalInConstantTime(head->path, expected.path)) return StrayRequest{SignInPage::notFound};
  if (head->method != "GET") return StrayRequest{SignInPage::methodNotAllowed};
  const auto parameters = parseForm(head->query);
  if (!parameters) return StrayRequest{SignInPage::badRequest};
  return readParameters(*parameters, expected);
}

}  // namespace corvane
