#pragma once

#include <cstdint>
#include <string>

namespace corvane::cli::test {

/// Does what a browser does at a sign-in: gets a page on this computer and follows its redirects, until one leads
/// elsewhere, whose address it gives; empty when the last page is no redirect.
std::string browse(std::string url);

/// Where a page on this computer redirects to; empty when it does not.
std::string locationOf(const std::string& url);

/// A parameter of an address, decoded; empty when there is none.
std::string valueOf(const std::string& url, const std::string& name);

/// Whether somebody listens on a port of 127.0.0.1.
bool listensOn(std::uint16_t port);

}  // namespace corvane::cli::test
