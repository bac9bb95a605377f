#pragma once

#include "DriveCall.hpp"

#include <Corvane/NSError.hpp>
#include <Corvane/Result.hpp>
#include <CorvanePlatform/DriveObjects.hpp>
#include <DriveParser.hpp>
#include <HTTPClient.hpp>

#include <string_view>

namespace corvane {

/// What an HTTP answer means: the object that it brings (none when it has no body), or the error.
///
/// Any 2xx is a success as long as its body, if it has one, is a JSON object; this holds for a deletion too,
/// so that a network's sign-in page never passes for one. Throws std::bad_alloc when memory runs out.
Result<GTLRObject, NSError> readDriveAnswer(const HTTPResponse& response, DriveCall::Answer expected,
                                            const DriveParser& parser, std::string_view host,
                                            std::string_view secret);

}  // namespace corvane
