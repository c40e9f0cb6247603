#pragma once
// How much memory the command may use.

#include <string>

namespace Velmar::Lintrix::tools {

/// What this process may use, in bytes: the machine's memory, or less where its control group or its address
/// space is limited.
double memoryLimit();

/// What of it is left, in bytes: by the system's estimate, of what the control groups grant beyond what they
/// use, and of the address space, where BLAS is going to take a buffer for each thread beyond the first and
/// would wait without end for it. `root` is the folder that /proc and /sys stand in.
double memoryLeft(int threads, const std::string& root = "");

/// Refuses to go on where BLAS would wait without end for address space. @throws InputError
void requireAddressSpace(int threads);

/// The least limit of the control groups, version 1 and 2, that this process is in, and of those around them;
/// infinite where there is none. `root` is the folder that /proc and /sys stand in.
double controlGroupLimit(const std::string& root = "");

} // namespace Velmar::Lintrix::tools
