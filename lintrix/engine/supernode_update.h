#pragma once
/// @file
/// The work horse of the factorization: a descendant's product, subtracted from a panel through indices.

#include <lintrix/services/export.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

/// a(i, p) and b(c, p), i < m, c < k, p < w, both column-major, unconjugated.
template <class T>
struct UpdateProduct {
    const T* a;
    int lda;
    const T* b;
    int ldb;
    int m, k, w;
    int above; ///< elements in front of `a` in the same panel: what a vector may begin early
};

/// Where the product goes: row i to `cells[row[i] + ld * column[c]]`.
template <class T>
struct UpdateTarget {
    T* cells;
    int ld;
    const int* row;    ///< m, ascending
    const int* column; ///< k
};

/// Elements that subtractProduct may need for its buffer, when the target has at most `widest` columns.
constexpr std::int64_t updateBufferSize(int widest) noexcept
{
    return std::int64_t{512} * widest;
}

/// target(row[i], column[c]) -= sum over p of a(i, p)*b(c, p). With `lowerTriangle` column c takes the rows
/// from c on. `buffer` has updateBufferSize elements.
///
/// Narrow or short products are formed in registers and scattered from there; larger ones by one call of
/// gemm, straight into the panel where the rows are neighbours, else through the buffer, piece by piece. The
/// choice depends on the sizes alone, so the bits of a result do not depend on who computes it.
template <class T>
LINTRIX_TESTABLE void subtractProduct(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                      bool lowerTriangle, T* buffer);

} // namespace Velmar::Lintrix::detail::engine
