#pragma once
// `lintrix-mpi solve`: the ranks read a system in parts, solve it, say how well.

#include <distributed/agreement.h>

#include <tools/solve/solve_command.h>

#include <optional>

namespace Velmar::Lintrix::tools {

struct DistributedSolveOptions {
    SolveOptions common;            ///< of `lintrix solve`; dense, sparse and directOptions stay as they are
    bool forecast = false;          ///< tells what the factorization would take, and stops
    std::optional<double> memory{}; ///< bytes that a rank may hold
    int threads = 1;                ///< of BLAS on this rank
};

/// The exit code of `lintrix solve`, the same on every rank. Rank 0 alone reports.
/// @throws DistributedFailure  bad input, a failing write, not enough memory
int runDistributedSolve(const Distributed::Agreement& all, const DistributedSolveOptions& options);

} // namespace Velmar::Lintrix::tools
