#include <lintrix/sparse/sparse_matrix.h>

#include <lintrix/dense/access.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/transposition.h>
#include <lintrix/sparse/detail/sizes.h>
#include <lintrix/sparse/detail/sparse_enumerator.h>
#include <lintrix/sparse/detail/structure.h>
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

// The base of a caller's arrays.
std::int32_t baseOf(std::span<const std::int32_t> IA)
{
    if (IA.empty()) throw IndexOutOfRangeException();
    if (IA[0] != 0 && IA[0] != 1) {
        throw ArgumentException("Arrays should be zero based or one based", "IA");
    }
    return IA[0];
}

// The highest column in use tells how many there are, and an empty array counts as column 0.
std::int64_t columnCount(std::span<const std::int32_t> JA, std::int32_t base)
{
    const auto highest = std::max_element(JA.begin(), JA.end());
    return std::int64_t{highest == JA.end() ? 0 : std::max(*highest, 0)} + 1 - base;
}

// Indices from `base` on as indices from 1 on, in wrapping arithmetic: they are not looked at.
Block<std::int32_t> oneBased(std::span<const std::int32_t> indices, std::int32_t base)
{
    Block<std::int32_t> fresh(static_cast<std::int64_t>(indices.size()));
    const std::uint32_t shift = base == 0 ? 1 : 0;
    std::transform(indices.begin(), indices.end(), fresh.get(), [shift](std::int32_t index) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(index) + shift);
    });
    return fresh;
}

// The first `count` cells of `source`, then `filler` up to `slots` cells.
template <class Cell>
Block<Cell> copiedAndFilled(const Cell* source, std::int32_t count, std::int32_t slots, Cell filler)
{
    Block<Cell> fresh(slots);
    std::fill(std::copy_n(source, count, fresh.get()), fresh.get() + slots, filler);
    return fresh;
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

// Spare slots hold value 0 and column -1; nothing reads them as elements.
void SparseMatrix::Init(std::int32_t rows, std::int32_t cols, std::int32_t capacity, float growFactor,
                        bool symmetric)
{
    detail::requireSparseSizes(rows, cols);
    mRows = rows;
    mCols = cols;
    mCells = std::max(capacity, rows);
    ia = Block<std::int32_t>(std::int64_t{rows} + 1);
    ja = Block<std::int32_t>(mCells);
    a = Block<double>::zeroed(mCells);
    std::fill_n(ja.get(), mCells, -1);
    std::fill_n(ia.get(), std::int64_t{rows} + 1, 1);
    for (std::int32_t i = 0; symmetric && i < rows; ++i) { // the diagonal, one element a row
        ja[i] = i + 1;
        ia[i + 1] = i + 2;
    }
    closeRowPointers();
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
    if (A.size() != JA.size()) {
        throw ArgumentException("Array JA should have equal size with array A", "JA");
    }
    const std::int32_t base = baseOf(IA);
    const std::int64_t cells = std::int64_t{IA.back()} - base;
    if (cells != static_cast<std::int64_t>(A.size())) {
        throw ArgumentException("Array IA defines different number of elements than array A");
    }
    const std::int64_t rows = static_cast<std::int64_t>(IA.size()) - 1, cols = columnCount(JA, base);
    detail::requireSparseSizes(rows, cols);
    mRows = static_cast<std::int32_t>(rows);
    mCols = static_cast<std::int32_t>(cols);
    mCells = static_cast<std::int32_t>(cells);
    ia = oneBased(IA, base);
    ja = oneBased(JA, base);
    a = Block<double>(mCells);
    std::copy(A.begin(), A.end(), a.get());
    closeRowPointers();
    if constexpr (detail::kHardened) {
        detail::requireCompressedRows({ia.get(), IA.size()}, {ja.get(), JA.size()}, mCols);
    }
}

// The capacity of the copy is raised to the row count, as in every new matrix.
SparseMatrix::SparseMatrix(const SparseMatrix& matrix)
    : mRows(matrix.mRows), mCols(matrix.mCols), mCells(std::max(matrix.mCells, matrix.mRows)),
      _growFactor(matrix._growFactor), _symmetric(matrix._symmetric)
{
    detail::requireSparseSizes(mRows, mCols);
    const std::int32_t elements = matrix.NumElements();
    ia = Block<std::int32_t>::copyOf(matrix.ia.get(), std::int64_t{mRows} + 1);
    ja = copiedAndFilled(matrix.ja.get(), elements, mCells, -1);
    a = copiedAndFilled(matrix.a.get(), elements, mCells, 0.0);
    closeRowPointers();
}

SparseMatrix::SparseMatrix(SparseMatrix&& matrix) noexcept
    : mRows(matrix.mRows), mCols(matrix.mCols), mCells(matrix.mCells), a(std::move(matrix.a)),
      ia(std::move(matrix.ia)), ja(std::move(matrix.ja)), _growFactor(matrix._growFactor),
      _symmetric(matrix._symmetric)
{
}

SparseMatrix::SparseMatrix(std::int32_t rows, std::int32_t cols, Block<double>&& _a,
                           Block<std::int32_t>&& _ia, Block<std::int32_t>&& _ja) noexcept
    : mRows(rows), mCols(cols), mCells(_ia[rows]), a(std::move(_a)), ia(std::move(_ia)), ja(std::move(_ja)),
      _growFactor(kGrowFactor)
{
    closeRowPointers();
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

void SparseMatrix::setArrays(std::int32_t capacity, Block<double>&& values, Block<std::int32_t>&& starts,
                             Block<std::int32_t>&& columns) noexcept
{
    mCells = capacity;
    a = std::move(values);
    ia = std::move(starts);
    ja = std::move(columns);
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
