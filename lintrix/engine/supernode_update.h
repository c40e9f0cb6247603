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

/// Elements that subtractProduct may need for its buffer, when the target and its descendants have at most
/// `widest` columns: the packed factors of a product, k <= widest columns and a block of rows.
constexpr std::int64_t updateBufferSize(int widest) noexcept
{
    constexpr int kLargestBlock = 64; // rows and columns of a kernel's block together
    return (std::int64_t{widest} + kLargestBlock) * widest;
}

/// target(row[i], column[c]) -= sum over p of a(i, p)*b(c, p). With `lowerTriangle` (rows and columns of the
/// target are the same there) what stands above the diagonal of the target is undefined afterwards. `buffer`
/// has updateBufferSize elements.
///
/// Products are formed in registers, small ones from where the factors lie, larger ones from packed factors,
/// and subtracted from there: a vector at a time where the rows of the target are neighbours, else by
/// elements. Where the target is one stretch and large, gemm takes it as it is. The choice depends on sizes
/// and rows alone, so the bits of a result do not depend on who computes it.
template <class T>
LINTRIX_TESTABLE void subtractProduct(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                      bool lowerTriangle, T* buffer);

} // namespace Velmar::Lintrix::detail::engine
