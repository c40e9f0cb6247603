#pragma once
/// @file
/// How many threads a numeric routine may use. Process-wide settings per domain, the environment and the
/// topology of the machine, read once; the answer is worked out anew at each question.
///
/// Environment, read at the first question: `MKL_NUM_THREADS`, `MKL_DOMAIN_NUM_THREADS`, `MKL_DYNAMIC`,
/// `OMP_NUM_THREADS`, `I_MPI_NUMBER_OF_MPI_PROCESSES_PER_NODE`, `I_MPI_THREAD_LEVEL`. A value set by a call
/// before that is not overwritten.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// Stores `n` as the global thread count if it is above 0; else no effect. Takes effect at the next question.
LINTRIX_EXPORT void MKL_Set_Num_Threads(const int& n);

/// The thread count for everything that has no count of its own.
/// With the dynamic flag on: 1 inside an active OpenMP parallel region, and never more than the machine's
/// cores.
LINTRIX_EXPORT int MKL_Get_Max_Threads();

/// Dynamic flag := 1 for non-zero, else 0.
LINTRIX_EXPORT void MKL_Set_Dynamic(const int& flag);

/// The dynamic flag, after reading the environment: 1 unless `MKL_DYNAMIC` reads "FALSE" or "false".
LINTRIX_EXPORT int MKL_Get_Dynamic();

namespace detail {

/// What a thread count is asked for.
enum class Domain : int { All = 0, Blas = 1, Fft = 2, Vml = 3 };

/// The thread count for `domain`: its own setting, else the global one, else the OpenMP runtime's. While a
/// `SameBitsScope` lives on the calling thread, what it promises instead.
LINTRIX_TESTABLE int domainThreads(Domain domain);

/// How many threads a team may have: as above for Domain::All, without a look at such a scope.
LINTRIX_TESTABLE int threadsInForce();

} // namespace detail
} // namespace Velmar::Lintrix
