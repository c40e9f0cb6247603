#pragma once
/// @file
/// The arguments of one call, under the names of the interface. Scalars are copies: an array of the caller
/// that overlaps one of them cannot change it under way.

#include <lintrix/engine/call/matrix_type.h>
#include <lintrix/engine/call/parameters.h>
#include <lintrix/engine/call/phase.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

struct Arguments {
    void** pt;
    int maxfct;
    int mnum;
    int mtype;
    Phase phase;
    int n;
    const void* a; ///< real or complex by mtype, double or single by iparm(28)
    int* ia;       ///< n + 1 row starts, base 1
    int* ja;       ///< column numbers, base 1
    int* perm;     ///< n, or nothing, by iparm(5)
    int nrhs;
    Parameters iparm;
    int msglvl;
    void* b;
    void* x;

    /// ia(n+1) - 1; 0 where there are no row starts to look at. To be asked at phases above 0 only: the
    /// others may pass anything for the matrix.
    std::int64_t nonZeros() const noexcept { return hasRowStarts() ? std::int64_t{ia[n]} - 1 : 0; }

    /// As many entries as rows: the matrix is taken for a diagonal one.
    bool looksDiagonal() const noexcept { return phase.code() > 0 && hasRowStarts() && nonZeros() == n; }

private:
    bool hasRowStarts() const noexcept { return ia != nullptr && n >= 0; }
};

} // namespace Velmar::Lintrix::detail::engine
