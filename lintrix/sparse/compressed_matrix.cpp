// Life and conversion of CompressedMatrix; its other members by theme, and the two classes of cells that
// there are.

#include <lintrix/sparse/compressed_matrix.h>

#include <lintrix/complex/access.h>
#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/sparse/detail/caller_rows.h>
#include <lintrix/sparse/detail/compressed_matrix_archive_impl.h>
#include <lintrix/sparse/detail/compressed_matrix_arithmetic_impl.h>
#include <lintrix/sparse/detail/compressed_matrix_comparison_impl.h>
#include <lintrix/sparse/detail/compressed_matrix_editing_impl.h>
#include <lintrix/sparse/detail/compressed_matrix_products_impl.h>
#include <lintrix/sparse/detail/compressed_matrix_random_impl.h>
#include <lintrix/sparse/detail/compressed_matrix_reductions_impl.h>
#include <lintrix/sparse/detail/compressed_matrix_text_impl.h>
#include <lintrix/sparse/detail/mirror.h>
#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/sparse_enumerator.h>
#include <lintrix/sparse/detail/sparse_twin.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kCapacity = 100;
constexpr float kGrowFactor = 1.2F;

} // namespace

void raiseRowPointers(bool released)
{
    if (released) raiseReleased();
    throw InvalidOperationException("The matrix has no longer the row pointers that its sizes tell.");
}

// ---- construction

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(std::int32_t rows, std::int32_t cols)
    : CompressedMatrix(rows, cols, kCapacity, kGrowFactor)
{
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity)
    : CompressedMatrix(rows, cols, capacity, kGrowFactor)
{
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity,
                                         float growFactor)
{
    Init(rows, cols, capacity, growFactor, false);
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(std::int32_t size, bool oneTriangle)
    : CompressedMatrix(size, oneTriangle, kCapacity, kGrowFactor)
{
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(std::int32_t size, bool oneTriangle, std::int32_t capacity,
                                         float growFactor)
{
    Init(size, size, capacity, growFactor, oneTriangle);
}

template <class Cell>
void CompressedMatrix<Cell>::Init(std::int32_t rows, std::int32_t cols, std::int32_t capacity,
                                  float growFactor, bool oneTriangle)
{
    requireSparseSizes(rows, cols);
    mRows = rows;
    mCols = cols;
    const std::int32_t slots = std::max(capacity, rows);
    setArrays(slots, newRows<Cell>(rows, slots, oneTriangle));
    _oneTriangle = oneTriangle;
    _growFactor = clampedGrowFactor(growFactor);
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(std::span<const Cell> A, std::span<const std::int32_t> IA,
                                         std::span<const std::int32_t> JA)
    : _growFactor(kGrowFactor)
{
    auto taken = callerRows<Cell>(A, IA, JA);
    mRows = taken.rows;
    mCols = taken.cols;
    setArrays(taken.elements, std::move(taken.arrays));
}

template <class Cell>
auto CompressedMatrix<Cell>::Identity(std::int32_t size) -> Self
{
    Self identity(size, true, size, kGrowFactor); // its diagonal is there
    std::fill_n(identity.a.get(), size, Cell(1.0));
    identity._oneTriangle = false;
    return identity;
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(const CompressedMatrix& matrix, float growFactor, bool oneTriangle)
    : mRows(matrix.mRows), mCols(matrix.mCols), _growFactor(growFactor), _oneTriangle(oneTriangle)
{
    requireSparseSizes(mRows, mCols);
    const std::int32_t slots = std::max(matrix.mCells, mRows);
    setArrays(slots, copiedRows<Cell>(matrix.a.get(), matrix.rowPointers(), matrix.ja.get(), mRows, slots));
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(CompressedMatrix&& matrix) noexcept
    : mRows(matrix.mRows), mCols(matrix.mCols), mCells(matrix.mCells), a(std::move(matrix.a)),
      ia(std::move(matrix.ia)), ja(std::move(matrix.ja)), _growFactor(matrix._growFactor),
      _oneTriangle(matrix._oneTriangle)
{
}

template <class Cell>
CompressedMatrix<Cell>::CompressedMatrix(std::int32_t rows, std::int32_t cols,
                                         RowArrays<Cell>&& arrays) noexcept
    : mRows(rows), mCols(cols), _growFactor(kGrowFactor)
{
    setArrays(arrays.ia[rows], std::move(arrays));
}

template <class Cell>
void CompressedMatrix<Cell>::swap(CompressedMatrix& other) noexcept
{
    std::swap(mRows, other.mRows);
    std::swap(mCols, other.mCols);
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
    std::swap(ia, other.ia);
    std::swap(ja, other.ja);
    std::swap(_growFactor, other._growFactor);
    std::swap(_oneTriangle, other._oneTriangle);
}

template <class Cell>
void CompressedMatrix<Cell>::setArrays(std::int32_t capacity, RowArrays<Cell>&& arrays) noexcept
{
    mCells = capacity;
    a = std::move(arrays.a);
    ia = std::move(arrays.ia);
    ja = std::move(arrays.ja);
    closeRowPointers();
}

template <class Cell>
void CompressedMatrix<Cell>::Dispose() noexcept
{
    ia.reset();
    ja.reset();
    a.reset();
}

template <class Cell>
void CompressedMatrix<Cell>::GrowFactor(float value) noexcept
{
    _growFactor = clampedGrowFactor(value);
}

// ---- conversion

template <class Cell>
MatrixOf<Cell> CompressedMatrix<Cell>::ToDense() const
{
    requireForeignSizes(mRows, mCols);
    const std::int32_t* starts = rowPointers();
    M dense(mRows, mCols);
    if (_oneTriangle) {
        for (SparseEnum<Cell> element(self()); element.MoveNext();) {
            const SparseElement<Cell> e = element.Current();
            dense.Item(e.Row(), e.Col(), e.Value());
            if (e.Row() != e.Col()) dense.Item(e.Col(), e.Row(), mirrored(e.Value()));
        }
        return dense;
    }
    Cell* cells = AccessTo<Cell>::cells(dense);
    for (std::int32_t i = 0; i < mRows; ++i) {
        for (std::int32_t k = starts[i] - 1; k < starts[i + 1] - 1; ++k) {
            cells[std::int64_t{ja[k] - 1} * mRows + i] = a[k];
        }
    }
    return dense;
}

template class CompressedMatrix<double>;
template class CompressedMatrix<Complex>;

} // namespace Velmar::Lintrix::detail
