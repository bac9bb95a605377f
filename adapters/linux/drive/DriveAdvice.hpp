#pragma once

#include <DriveParser.hpp>

#include <string>

namespace corvane {

/// What the user can do about an error of Google's, in a sentence or two; empty when its reasons tell nothing.
/// (Google's reference: Drive API v3, "Resolve errors", and google.rpc.ErrorInfo.)
///
/// It holds nothing that the server wrote but an https link on google.com.
std::string adviceFor(const DriveErrorObject& error);

}  // namespace corvane
