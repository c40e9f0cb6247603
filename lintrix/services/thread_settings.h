#pragma once
/// @file
/// What the environment says about threads, and the rule that turns settings into a thread count. Both are
/// pure: all they know is handed to them.

#include <lintrix/services/environment.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail {

/// The settings as the environment gives them; -1 for not set.
struct ThreadSettings {
    int global = -1;           ///< MKL_NUM_THREADS, or the key MKL_ALL of MKL_DOMAIN_NUM_THREADS
    int blas = -1;             ///< key MKL_BLAS of MKL_DOMAIN_NUM_THREADS
    int fft = -1;              ///< key MKL_FFT
    int vml = -1;              ///< key MKL_VML
    int dynamic = -1;          ///< MKL_DYNAMIC: 0 or 1, never -1 once parsed
    int openmp = -1;           ///< OMP_NUM_THREADS
    int processesPerNode = -1; ///< I_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE
    int mpiThreadLevel = -1;   ///< I_MPI_THREAD_LEVEL: 0..3, never -1 once parsed
};

/// Reads the six variables in their fixed order. The first to set a value wins.
///
/// A count that is not all digits is 1 (but ignored in the two I_MPI variables), one below 1 is ignored, and
/// one too large for an int is the largest int: the processor count, or the runtime's own limit, cuts it
/// later.
LINTRIX_TESTABLE ThreadSettings parseThreadSettings(const EnvironmentLookup& lookup);

/// All that decides about one thread count.
struct ThreadQuestion {
    int domain = -1;             ///< setting of the domain asked for; above 0 if set
    int global = -1;             ///< global setting; above 0 if set
    int runtime = 1;             ///< the OpenMP runtime's maximum for this thread
    bool dynamic = true;         ///< may fewer threads be given than were asked for?
    bool inActiveRegion = false; ///< is the caller inside an active OpenMP parallel region?
    int cores = -1;              ///< of the machine; -1 for unknown, which bounds nothing
    int openmp = -1;             ///< OMP_NUM_THREADS as parsed
    int processesPerNode = -1;   ///< MPI processes on this machine; -1 for unknown
    int mpiThreadLevel = 0;      ///< 0: the MPI library is used by one thread only
};

/// The thread count: the domain's setting, else the global one, else the runtime's. With the dynamic flag on
/// it is 1 inside an active region and at most the number of cores outside; and a process that shares its
/// machine with other MPI processes, and for which nobody chose a count, gets its share of the cores.
LINTRIX_TESTABLE int threadCount(const ThreadQuestion& question) noexcept;

} // namespace Velmar::Lintrix::detail
