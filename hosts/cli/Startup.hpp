#pragma once

namespace corvane::cli {

/// Keeps secrets in memory from other programs: no core dump, and no reading of the memory through
/// ptrace(2) or /proc except by root. Programs that this one starts are not affected: the kernel's
/// mark ends with execve(2).
void protectMemory();

/// Takes SSLKEYLOGFILE out of the environment. Our connections write nothing there, but libcurl still
/// opens it, and opening a pipe that nobody reads would never end.
void dropKeyLog();

/// Opens the standard descriptors that the caller closed on /dev/null. Otherwise the next files and
/// sockets would get their numbers, and output would be written into them. Standard output is
/// opened for reading only, so that writing fails there as it did before. To be called before
/// anything else opens a file.
void openStandardDescriptors();

}  // namespace corvane::cli
