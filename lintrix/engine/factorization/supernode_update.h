#pragma once
/// @file
/// The work horse of the factorization: a descendant's product, subtracted from panels through indices.

#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

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

/// One panel that a product goes to, by consecutive columns of it: row i and column c to
/// `cells[row[i] + ld * row[c]]`, the rows from `firstRow` on. The pointer is set back so that the row
/// numbers of a first panel serve those behind it, too.
template <class T>
struct UpdatePanel {
    T* cells;
    int ld;
    int columns;
    int firstRow;
};

/// Where the product goes: panel after panel, their columns the first k rows.
template <class T>
struct UpdateTarget {
    std::span<const UpdatePanel<T>> panels;
    const int* row; ///< m, ascending
};

/// Elements that subtractProduct may need for its buffer: the packed factors of a product of k columns over
/// w, those of each of `panels` filled up to a group, and a block of rows.
constexpr std::int64_t updateBufferSize(int k, int w, int panels) noexcept
{
    constexpr int kTallestBlock = 48, kWidestGroup = 8;
    return (std::int64_t{k} + panels * kWidestGroup + kTallestBlock) * w;
}

/// target(row[i], row[c]) -= sum over p of a(i, p)*b(c, p). With `lowerTriangle` what stands above the
/// diagonal of the target, i < c, is undefined afterwards. `buffer` has updateBufferSize elements.
///
/// The kernel is the engine's own and no call of a BLAS product: most descendants are so small that the call
/// costs more than the product, and what BLAS leaves in a buffer would need a second pass to be subtracted.
/// Products are formed in registers, from where the factors lie if they stay in the cache, else from packed
/// ones, and subtracted from there: a vector at a time where the rows of the target are neighbours, else by
/// elements. The choice depends on sizes and rows alone, so the bits of a result do not depend on who
/// computes it.
template <class T>
LINTRIX_TESTABLE void subtractProduct(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                      bool lowerTriangle, T* buffer);

/// Where a column of the factor takes what other columns give.
template <class T>
struct ColumnTarget {
    T* lower; ///< of L's panel
    T* upper; ///< of U's, set back so that the same rows serve; null in symmetric storage
    const int* place;
};

/// A column of L with m rows, and beside it that of U, gives to one that is its first row:
///
///     lower[place[rows[i]]] -= l[i]*factor for 0 <= i < m, in unsymmetric storage with factor u[0], and
///     upper[place[rows[i]]] -= u[i]*l[0] for 0 < i < m.
///
/// The same as subtractProduct for each, and with the same bits; most descendants in networks are such.
template <class T>
using ColumnUpdate = void (*)(const T* l, const T* u, const T& factor, const int* rows, int m,
                              const ColumnTarget<T>& target);

/// Its form for this processor, to be kept: a call through it is most of what it costs.
template <class T>
LINTRIX_TESTABLE ColumnUpdate<T> columnUpdate();

} // namespace Velmar::Lintrix::detail::engine
