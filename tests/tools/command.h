#pragma once
// Runs the built command as a user would, and looks at everything it leaves behind.

#include <tests/support/files.h>
#include <tests/support/sanitized.h>
#include <tests/tools/json.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/resource.h>
#include <sys/types.h>

namespace Velmar::Lintrix::testing {

/// Each time of a report, which has six digits after the point, replaced by T.
std::string withoutTimes(std::string_view report);

/// The path of `lintrix`.
std::string commandProgram();

struct Invocation {
    std::vector<std::string> arguments;
    std::string program = commandProgram();
    std::vector<std::string> variables;     ///< "NAME=value", beside or instead of the environment's
    std::string input = "/dev/null";        ///< file for standard input
    std::string output;                     ///< file or device for standard output; empty: captured
    std::string error;                      ///< likewise for standard error
    bool outputClosed = false;              ///< the command starts without a standard output
    bool outputBroken = false;              ///< standard output is a pipe that nobody reads
    std::optional<rlim_t> fileLimit;        ///< largest file the command may write, in bytes
    std::function<void(pid_t)> onceStarted; ///< is called while the command runs
};

struct Outcome {
    int exitCode = -1; ///< -1: ended by a signal
    std::string out, err;
};

/// Runs `lintrix`, or another program, with an address space of 1 GiB, except under the sanitizers, which
/// need more than any limit.
Outcome run(const Invocation& invocation);
Outcome run(std::vector<std::string> arguments);

/// The report of `lintrix solve` with these arguments, which is expected to succeed.
Json reportOf(std::vector<std::string> arguments);

} // namespace Velmar::Lintrix::testing
