#pragma once
/// @file
/// Results that do not hang on the number of threads.

#include <lintrix/services/export.h>

namespace Velmar::Lintrix {

/// While it lives, what the calling thread computes has the same bits with any number of threads in force.
///
/// A number of threads decides two things: into how many pieces work is cut, and with it the order in which
/// sums are rounded; and how many threads take these pieces. Here the first is the same always, as if 16
/// threads were in force, which is what `MKL_Get_Max_Threads` answers meanwhile; the second is as set, up to
/// those 16. BLAS and LAPACK, whose cutting is their own, run on the calling thread alone. So sparse work
/// (`pardiso` and the classes in front of it, the kernels of sparse matrices) goes on by threads; dense work
/// does not.
///
/// The bits are those of one build, on one processor's kernels, of work that does not watch the clock: a
/// search for null directions that time cuts short may end elsewhere. A factor has to be made and used within
/// such scopes. Scopes may be nested; each belongs to its thread. Cost of the scope: none. That of the
/// narrower panels and of the pieces: see the table in bench/RESULTS.md.
class LINTRIX_EXPORT SameBitsScope {
public:
    SameBitsScope() noexcept;
    ~SameBitsScope();
    SameBitsScope(const SameBitsScope&) = delete;
    SameBitsScope& operator=(const SameBitsScope&) = delete;

private:
    bool outer_; ///< another one lives around it
};

namespace detail {

inline constexpr int kThreadsOfSameBits = 16; ///< for which work is cut

/// Whether such a scope lives on the calling thread.
LINTRIX_TESTABLE bool keepsSameBits() noexcept;

} // namespace detail
} // namespace Velmar::Lintrix
