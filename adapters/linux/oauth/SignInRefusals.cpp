#include "SignInRefusals.hpp"

#include <algorithm>
#include <array>

namespace corvane {

namespace {

constexpr std::string_view again = "Sign in again.";
constexpr std::string_view later = "Try again in a while.";
constexpr std::string_view inBrowserFirst =
    "Sign in to Google in your browser first, then start the sign-in again.";
constexpr std::string_view toDeveloper = "Tell the program's developer.";
constexpr std::string_view client =
    "The program's developer has to create an OAuth client of the type Desktop app.";

// The last one stands for all others.
constexpr std::array<SignInRefusal, 20> refusals{{
    {"access_denied", "Access to the account was not granted", "Sign in again and allow the access."},
    {"server_error", "Google's sign-in failed by an error of Google's own", later, true},
    {"temporarily_unavailable", "Google's sign-in is too busy or under maintenance", later, true},
    {"login_required", "Google wants you to sign in to the account, which did not happen", inBrowserFirst},
    {"interaction_required", "Google has a question that was not answered", inBrowserFirst},
    {"account_selection_required", "Google wants you to choose an account, which did not happen",
     inBrowserFirst},
    {"consent_required", "Google wants your consent, which was not given", again},
    {"invalid_scope", "Google does not let this program ask for access to Google Drive",
     "The program's developer has to enable the Google Drive API and its scope."},
    {"unauthorized_client", "Google does not let this program sign users in this way", client},
    {"invalid_client", "Google does not know this program's OAuth client", client},
    {"deleted_client", "This program's OAuth client was deleted at Google", client},
    {"redirect_uri_mismatch", "Google does not let this program sign users in on a computer", client},
    {"invalid_request", "Google could not understand this program's request", toDeveloper},
    {"invalid_grant", "Google no longer accepts this sign-in", again},
    {"unsupported_response_type", "Google does not support this program's way to sign users in", toDeveloper},
    {"admin_policy_enforced", "The administrator of the account's organisation does not allow this program",
     "Ask the administrator to allow it, or choose another account."},
    {"org_internal", "This program is only for accounts of its developer's organisation",
     "Sign in again and choose an account of that organisation."},
    {"disallowed_useragent", "Google does not accept the browser that showed its page",
     "Sign in again with a browser such as Firefox or Chromium."},
    {"request_not_supported", "Google does not support this program's request", toDeveloper},
    {"", "Google's sign-in page handed back an error", again},
}};

}  // namespace

const SignInRefusal& refusalNamed(std::string_view error) {
  const auto* const found =
      std::find_if(refusals.begin(), refusals.end() - 1,
                   [error](const SignInRefusal& refusal) { return refusal.name == error; });
  return *found;
}

}  // namespace corvane
