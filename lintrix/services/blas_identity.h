#pragma once
/// @file
/// Which BLAS this process runs on. Several builds of one library share a file name, so that only the running
/// process can tell.

#include <lintrix/services/export.h>

#include <cstdint>
#include <string>

namespace Velmar::Lintrix {

/// Address space that OpenBLAS takes and keeps for each thread that calls it, and for each member of a team
/// of its own; for its first team before `main`. Where the space is missing (`ulimit -v`), it tries again
/// without end.
inline constexpr std::uint64_t BlasBufferBytes = std::uint64_t{136} << 20;

/// The BLAS and LAPACK that calls of this process reach.
struct BlasIdentity {
    std::string library;   ///< what the library says of itself: name, version, build options
    std::string file;      ///< the file it was loaded from, empty when that cannot be told
    std::string core;      ///< the processor core whose kernels it runs on, empty when it does not tell
    std::string coreNote;  ///< why other kernels than it chose, or how to get better ones; empty for neither
    std::string threading; ///< "sequential", "pthread", "OpenMP" or "unknown"
    int threads = 1;       ///< the thread count in force for a BLAS call at this moment
};

/// Asks the library that is loaded. Cost: microseconds, and on the first question of the process the reading
/// of environment and topology.
LINTRIX_EXPORT BlasIdentity DescribeBlas();

} // namespace Velmar::Lintrix
