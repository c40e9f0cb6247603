#pragma once
// `lintrix solve`: read a system, solve it, say how well.

#include <string>

namespace Velmar::Lintrix::tools {

struct SolveOptions {
    std::string matrix;     ///< "-" is standard input
    std::string rightHands; ///< empty: b = A*(1, ..., 1)
    std::string out;        ///< empty: the solution is not kept
    bool json = false;
};

/// Exit code: 0 solved, 1 numeric failure, said in words on standard error. Prints the report in both cases;
/// the output file is written only when the system was solved. @throws InputError  bad input, or a failing
/// write
int runSolve(const SolveOptions& options);

} // namespace Velmar::Lintrix::tools
