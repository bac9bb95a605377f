#pragma once

namespace corvane::cli {

/// Opens the standard descriptors that the caller closed on /dev/null. Otherwise the next files and
/// sockets would get their numbers, and output would be written into them. Standard output is
/// opened for reading only, so that writing fails there as it did before. To be called before
/// anything else opens a file.
void openStandardDescriptors();

}  // namespace corvane::cli
