// Comparison and hash of SparseMatrix.

#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/detail/identity.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/detail/sparse_enumerator.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix {

namespace {

// The exclusive or of `count` integers.
std::int32_t folded(const std::int32_t* integers, std::int64_t count)
{
    std::int32_t bits = 0;
    for (std::int64_t i = 0; i < count; ++i) bits ^= integers[i];
    return bits;
}

} // namespace

// A merge of two walks in row-major order. Every comparison asks whether a value is too great, which a NaN
// never is: it passes.
bool SparseMatrix::IsEqual(const SparseMatrix& matrix, double tolerance) const
{
    const double t = std::abs(tolerance);
    detail::SparseMatrixEnum first(*this), second(matrix);
    bool inFirst = first.MoveNext(), inSecond = second.MoveNext();
    detail::SparseMatrixElement x = first.Current(), y = second.Current(); // fails if nothing is stored
    while (inFirst || inSecond) {
        const std::int32_t order = !inFirst    ? 1
                                   : !inSecond ? -1
                                               : detail::SparseMatrixElement::CompareOrder(x, y);
        const double difference = order < 0 ? x.Value() : order > 0 ? y.Value() : x.Value() - y.Value();
        if (std::abs(difference) > t) return false;
        if (order <= 0 && (inFirst = first.MoveNext())) x = first.Current();
        if (order >= 0 && (inSecond = second.MoveNext())) y = second.Current();
    }
    return true;
}

bool SparseMatrix::Equals(const SparseMatrix&) const
{
    throw NullReferenceException();
}

bool SparseMatrix::Equals(const SparseMatrix*) const
{
    throw NullReferenceException();
}

// One slot past the stored elements is taken in. Where the blocks end there, it is left out; a result of this
// library has the same one each time.
std::int32_t SparseMatrix::GetHashCode() const
{
    const std::int64_t wanted = std::int64_t{NumElements()} + 1;
    const std::int64_t slots = std::min({wanted, a.cells(), ja.cells()});
    return mRows ^ mCols ^ folded(rowPointers(), std::int64_t{mRows} + 1) ^ folded(ja.get(), slots) ^
           detail::hashOfCells(a.get(), slots);
}

} // namespace Velmar::Lintrix
