#pragma once

#include "Style.hpp"

#include <CorvanePlatform/AuthSession.hpp>

#include <string>

namespace corvane::cli {

/// What a session may do and until when, for people: never a token.
std::string sessionStatus(const std::string& account, const AuthSession& session, const Style& style);

/// The same for programs, as one line of JSON.
std::string sessionStatusLine(const std::string& account, const AuthSession& session);

}  // namespace corvane::cli
