#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/transposition.h>
#include <lintrix/sparse/detail/caller_rows.h>
#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/sparse_enumerator.h>
#include <lintrix/sparse/kernels.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix {

using detail::Block;

namespace {

constexpr std::int32_t kCapacity = 100;
constexpr float kGrowFactor = 1.2F;

// A NaN stays one; the growth by at least one slot does not mind.
float clampedGrowFactor(float value)
{
    return std::clamp(value, 1.0F, 4.0F);
}

} // namespace

void detail::raiseRowPointers(bool released)
{
    if (released) raiseReleased();
    throw InvalidOperationException("The matrix has no longer the row pointers that its sizes tell.");
}

// ---- construction

SparseMatrix::SparseMatrix()
{
    Init(1, 1, 1, 0.2F, false);
}

SparseMatrix::SparseMatrix(std::int32_t rows, std::int32_t cols)
    : SparseMatrix(rows, cols, kCapacity, kGrowFactor)
{
}

SparseMatrix::SparseMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity)
    : SparseMatrix(rows, cols, capacity, kGrowFactor)
{
}

SparseMatrix::SparseMatrix(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float growFactor)
{
    Init(rows, cols, capacity, growFactor, false);
}

SparseMatrix::SparseMatrix(std::int32_t size, bool symmetric)
    : SparseMatrix(size, symmetric, kCapacity, kGrowFactor)
{
}

SparseMatrix::SparseMatrix(std::int32_t size, bool symmetric, std::int32_t capacity, float growFactor)
{
    Init(size, size, capacity, growFactor, symmetric);
}

void SparseMatrix::Init(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float growFactor,
                        bool symmetric)
{
    detail::requireSparseSizes(rows, cols);
    mRows = rows;
    mCols = cols;
    const std::int32_t slots = std::max(capacity, rows);
    setArrays(slots, detail::newRows<double>(rows, slots, symmetric));
    _symmetric = symmetric;
    _growFactor = clampedGrowFactor(growFactor);
}

SparseMatrix::SparseMatrix(const Matrix& matrix) : mRows(matrix.Rows()), mCols(matrix.Cols())
{
    detail::requireSparseSizes(mRows, mCols);
    const std::int32_t cells = detail::cellCount(mRows, mCols);
    const Block<double> rowMajor(cells); // the rows of A are the columns of A'
    detail::vmr_transo(detail::DenseAccess::cells(matrix), rowMajor.get(), mRows, mCols);

    int job[] = {0, 0, 1, 2, cells, 0}; // dense from 0, compressed rows from 1, whole matrix
    int info = 0;                       // not looked at: the limit is the size of the matrix
    ia = Block<std::int32_t>(std::int64_t{mRows} + 1);
    mkl_ddnscsr(job, mRows, mCols, rowMajor.get(), mCols, a.get(), ja.get(), ia.get(), info);
    mCells = ia[mRows] - ia[0];
    a = Block<double>(mCells);
    ja = Block<std::int32_t>(mCells);
    job[5] = 1; // now values and columns, too
    mkl_ddnscsr(job, mRows, mCols, rowMajor.get(), mCols, a.get(), ja.get(), ia.get(), info);
    closeRowPointers();
    // The growth factor stays 0: a full matrix grows by one slot.
}

SparseMatrix::SparseMatrix(std::span<const double> A, std::span<const std::int32_t> IA,
                           std::span<const std::int32_t> JA)
    : _growFactor(kGrowFactor)
{
    auto taken = detail::callerRows<double>(A, IA, JA);
    mRows = taken.rows;
    mCols = taken.cols;
    setArrays(taken.elements, std::move(taken.arrays));
}

// The capacity of the copy is raised to the row count, as in every new matrix.
SparseMatrix::SparseMatrix(const SparseMatrix& matrix)
    : mRows(matrix.mRows), mCols(matrix.mCols), _growFactor(matrix._growFactor), _symmetric(matrix._symmetric)
{
    detail::requireSparseSizes(mRows, mCols);
    const std::int32_t slots = std::max(matrix.mCells, mRows);
    setArrays(slots, detail::copiedRows<double>(matrix.a.get(), matrix.rowPointers(), matrix.ja.get(), mRows,
                                                slots));
}

SparseMatrix::SparseMatrix(SparseMatrix&& matrix) noexcept
    : mRows(matrix.mRows), mCols(matrix.mCols), mCells(matrix.mCells), a(std::move(matrix.a)),
      ia(std::move(matrix.ia)), ja(std::move(matrix.ja)), _growFactor(matrix._growFactor),
      _symmetric(matrix._symmetric)
{
}

SparseMatrix::SparseMatrix(std::int32_t rows, std::int32_t cols, detail::RowArrays<double>&& arrays) noexcept
    : mRows(rows), mCols(cols), _growFactor(kGrowFactor)
{
    setArrays(arrays.ia[rows], std::move(arrays));
}

SparseMatrix& SparseMatrix::operator=(SparseMatrix matrix) noexcept
{
    swap(matrix);
    return *this;
}

void SparseMatrix::swap(SparseMatrix& other) noexcept
{
    std::swap(mRows, other.mRows);
    std::swap(mCols, other.mCols);
    std::swap(mCells, other.mCells);
    std::swap(a, other.a);
    std::swap(ia, other.ia);
    std::swap(ja, other.ja);
    std::swap(_growFactor, other._growFactor);
    std::swap(_symmetric, other._symmetric);
}

void SparseMatrix::setArrays(std::int32_t capacity, detail::RowArrays<double>&& arrays) noexcept
{
    mCells = capacity;
    a = std::move(arrays.a);
    ia = std::move(arrays.ia);
    ja = std::move(arrays.ja);
    closeRowPointers();
}

void SparseMatrix::Dispose() noexcept
{
    ia.reset();
    ja.reset();
    a.reset();
}

void SparseMatrix::GrowFactor(float value) noexcept
{
    _growFactor = clampedGrowFactor(value);
}

// ---- conversion

Matrix SparseMatrix::ToDense() const
{
    detail::requireForeignSizes(mRows, mCols);
    const std::int32_t* starts = rowPointers();
    Matrix dense(mRows, mCols);
    if (_symmetric) {
        for (detail::SparseMatrixEnum element(*this); element.MoveNext();) {
            const detail::SparseMatrixElement e = element.Current();
            dense.Item(e.Row(), e.Col(), e.Value());
            if (e.Row() != e.Col()) dense.Item(e.Col(), e.Row(), e.Value());
        }
        return dense;
    }
    double* cells = detail::DenseAccess::cells(dense);
    for (std::int32_t i = 0; i < mRows; ++i) {
        for (std::int32_t k = starts[i] - 1; k < starts[i + 1] - 1; ++k) {
            cells[std::int64_t{ja[k] - 1} * mRows + i] = a[k];
        }
    }
    return dense;
}

} // namespace Velmar::Lintrix
