#pragma once
// `lintrix solve`: read a system, solve it, say how well.

#include <tools/solve/sparse_options.h>

#include <string>
#include <vector>

namespace Velmar::Lintrix::tools {

struct SolveOptions {
    std::string matrix;     ///< "-" is standard input
    std::string rightHands; ///< empty: b = A*(1, ..., 1)
    std::string out; ///< empty: the solution is not kept; "-" is standard output, the report then goes to
                     ///< standard error
    bool json = false;
    bool explain = false;                   ///< what the report says, in sentences, below it
    bool dense = false;                     ///< also for a coordinate file
    SparseOptions sparse;                   ///< of the direct solver
    std::vector<std::string> directOptions; ///< those of the direct solver that were given
};

/// Coordinate files are solved as sparse systems, square or not; array files as dense ones, and `dense` makes
/// that of all.
///
/// Exit code: 0 there is a solution with at least a correct digit, accurate or degraded; 1 there is none,
/// said in words on standard error. Prints the report in both cases; the output file is written only when
/// there is a solution.
/// @throws InputError  bad input, or a failing write
int runSolve(const SolveOptions& options);

} // namespace Velmar::Lintrix::tools
