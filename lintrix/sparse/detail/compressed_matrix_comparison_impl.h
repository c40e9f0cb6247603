#pragma once
/// @file
/// Comparison and hash of CompressedMatrix.

#include <lintrix/dense/detail/identity.h>
#include <lintrix/sparse/compressed_matrix.h>
#include <lintrix/sparse/detail/sparse_enumerator.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail {

/// The exclusive or of `count` integers.
inline std::int32_t folded(const std::int32_t* integers, std::int64_t count)
{
    std::int32_t bits = 0;
    for (std::int64_t i = 0; i < count; ++i) bits ^= integers[i];
    return bits;
}

// A merge of two walks in row-major order. Every comparison asks whether a value is too great, which a NaN
// never is: it passes.
template <class Cell>
bool CompressedMatrix<Cell>::IsEqual(const Self& matrix, double tolerance) const
{
    const double t = std::abs(tolerance);
    SparseEnum<Cell> first(self()), second(matrix);
    bool inFirst = first.MoveNext(), inSecond = second.MoveNext();
    SparseElement<Cell> x = first.Current(), y = second.Current(); // fails if nothing is stored
    while (inFirst || inSecond) {
        const std::int32_t order = !inFirst ? 1 : !inSecond ? -1 : SparseElement<Cell>::CompareOrder(x, y);
        const Cell difference = order < 0 ? x.Value() : order > 0 ? y.Value() : x.Value() - y.Value();
        if (std::abs(difference) > t) return false;
        if (order <= 0 && (inFirst = first.MoveNext())) x = first.Current();
        if (order >= 0 && (inSecond = second.MoveNext())) y = second.Current();
    }
    return true;
}

// One slot past the stored elements is taken in. Where the blocks end there, it is left out; a result of this
// library has the same one each time.
template <class Cell>
std::int32_t CompressedMatrix<Cell>::GetHashCode() const
{
    const std::int64_t wanted = std::int64_t{NumElements()} + 1;
    const std::int64_t slots = std::min({wanted, a.cells(), ja.cells()});
    return mRows ^ mCols ^ folded(rowPointers(), std::int64_t{mRows} + 1) ^ folded(ja.get(), slots) ^
           hashOfCells(a.get(), slots);
}

} // namespace Velmar::Lintrix::detail
