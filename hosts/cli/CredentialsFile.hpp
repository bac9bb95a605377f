#pragma once

#include <Corvane/Data.hpp>

#include <string>

namespace corvane::cli {

/// Reads the OAuth client from a file and gives it in the form that the factory takes: an object
/// with the texts "client_id" and "clientSecret". The file may have that form already, or the one
/// that Google's console offers for download, in which both stand in an object named "installed".
///
/// A pipe is read to its end, as of `--credentials <(command)`.
///
/// Throws a usage Failure that names the file and what is wrong with it, never what stands in it;
/// Interrupted when `interruptDescriptor` becomes readable while a pipe's writer is slow. -1 for
/// none.
Data readCredentialsFile(const std::string& path, int interruptDescriptor);

/// The same for a document already read; `name` is how errors call it.
Data credentialsFrom(const Data& document, const std::string& name);

}  // namespace corvane::cli
