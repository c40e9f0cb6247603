#pragma once
/// @file
/// How the other classes of the library reach the blocks of the dense objects, by cell type. Not for callers.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>

#include <utility>

namespace Velmar::Lintrix::detail {

template <class Cell>
struct LINTRIX_TESTABLE AccessTo {
    using M = MatrixOf<Cell>;
    using V = VectorOf<Cell>;

    static const Cell* cells(const M& matrix) { return matrix.cells(); }
    static Cell* cells(M& matrix) { return matrix.cells(); }
    static std::int32_t count(const M& matrix) noexcept { return matrix.mCells; }
    static const Cell* cells(const V& vector) { return vector.cells(); }
    static Cell* cells(V& vector) { return vector.cells(); }

    /// A matrix whose cells the caller writes, every one.
    static M uninitialised(std::int32_t rows, std::int32_t cols)
    {
        return M(typename M::Uninitialised{}, rows, cols);
    }
    /// A copy of rows*cols cells from `source`, which stays the caller's.
    static M copyOf(const Cell* source, std::int32_t rows, std::int32_t cols);
    /// The matrix takes `block` over, which holds rows*cols cells.
    static M adopt(Block<Cell>&& block, std::int32_t rows, std::int32_t cols)
    {
        return M(std::move(block), rows, cols);
    }
    /// Element i from `source`[i*step].
    static V strided(const Cell* source, std::int32_t size, std::int64_t step);
    static V adopt(Block<Cell>&& block, std::int32_t size) { return V(std::move(block), size); }
};

extern template struct AccessTo<double>;
using DenseAccess = AccessTo<double>;

} // namespace Velmar::Lintrix::detail
