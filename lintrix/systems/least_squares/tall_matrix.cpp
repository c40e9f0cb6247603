#include <lintrix/systems/least_squares/tall_matrix.h>

#include <lintrix/services/blas.h>
#include <lintrix/services/dispatch.h>
#include <lintrix/services/threads.h>
#include <lintrix/sparse/detail/sparse_twin.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail {

namespace {

constexpr std::int32_t kPacked = 8; ///< columns of a panel: its rows are as long as a cache line

/// A register, and the same anywhere in memory.
template <int Width>
struct Vectors {
    typedef double Register __attribute__((vector_size(Width * sizeof(double))));
    typedef double Memory __attribute__((vector_size(Width * sizeof(double)), may_alias, aligned(8)));
};

/// Row by row, y = A*x of a panel: an element of A is read once for all columns, and what it points to is one
/// line.
template <int Width>
[[gnu::always_inline]] inline void multiplyRows(const RowsView<double>& A, const double* panel,
                                                std::int32_t columns, double* y)
{
    using Register = typename Vectors<Width>::Register;
    using Memory = typename Vectors<Width>::Memory;
    constexpr int kVectors = kPacked / Width;
    for (std::int32_t i = 0; i < A.rows; ++i) {
        Register sums[kVectors] = {};
        for (std::int32_t k = A.ia[i] - 1; k < A.ia[i + 1] - 1; ++k) {
            const double* const row = panel + std::int64_t{kPacked} * (A.ja[k] - 1);
            for (int v = 0; v < kVectors; ++v) {
                const Register cells = *reinterpret_cast<const Memory*>(row + v * Width);
                sums[v] += A.a[k] * cells;
            }
        }
        for (std::int32_t c = 0; c < columns; ++c)
            y[std::int64_t{A.rows} * c + i] = sums[c / Width][c % Width];
    }
}

using MultiplyRows = void (*)(const RowsView<double>&, const double*, std::int32_t, double*);

LINTRIX_FOR_AVX512 void multiplyRowsAvx512(const RowsView<double>& A, const double* panel,
                                           std::int32_t columns, double* y)
{
    multiplyRows<8>(A, panel, columns, y);
}
LINTRIX_FOR_AVX2_AND_FMA void multiplyRowsAvx2(const RowsView<double>& A, const double* panel,
                                               std::int32_t columns, double* y)
{
    multiplyRows<4>(A, panel, columns, y);
}
void multiplyRowsSse2(const RowsView<double>& A, const double* panel, std::int32_t columns, double* y)
{
    multiplyRows<2>(A, panel, columns, y);
}

constexpr KernelForms<MultiplyRows> kForms{
    .sse2 = multiplyRowsSse2, .avx2 = multiplyRowsAvx2, .avx512 = multiplyRowsAvx512};

/// A panel of columns after the other, each packed by rows with zeros in the place of those that are missing.
void multiplyPanels(const RowsView<double>& A, std::int32_t columns, const double* x, double* y)
{
    const MultiplyRows multiply = kForms.chosen();
    std::vector<double> panel(static_cast<std::size_t>(A.cols) * kPacked);
    for (std::int32_t first = 0; first < columns; first += kPacked) {
        const std::int32_t count = std::min(kPacked, columns - first);
        const double* const from = x + std::int64_t{A.cols} * first;
        for (std::int32_t i = 0; i < A.cols; ++i)
            for (std::int32_t c = 0; c < count; ++c)
                panel[std::size_t(i) * kPacked + std::size_t(c)] = from[std::int64_t{A.cols} * c + i];
        multiply(A, panel.data(), count, y + std::int64_t{A.rows} * first);
    }
}

} // namespace

/// A product with several columns reads A once for several of them, but runs on one thread.
template <class Cell>
void multiplyColumns(const RowsView<Cell>& A, bool adjoint, std::int32_t columns, const Cell* x, Cell* y)
{
    const char* const op = adjoint ? "C" : "N";
    const std::int32_t ofX = adjoint ? A.rows : A.cols, ofY = adjoint ? A.cols : A.rows;
    if constexpr (std::is_same_v<Cell, double>)
        if (columns > 2 && !adjoint) return multiplyPanels(A, columns, x, y);
    if (columns > 1 && (adjoint || MKL_Get_Max_Threads() == 1)) {
        SparseTwin<Cell>::csrmm(op, A.rows, columns, A.cols, Cell(1.0), "GUNF", A.a, A.ja, A.ia, A.ia + 1, x,
                                ofX, Cell(0.0), y, ofY);
        return;
    }
    for (std::int64_t c = 0; c < columns; ++c)
        SparseTwin<Cell>::csrmv(op, A.rows, A.cols, Cell(1.0), "GUNF", A.a, A.ja, A.ia, A.ia + 1, x + c * ofX,
                                Cell(0.0), y + c * ofY);
}

/// The rows of A^H by a counting sort: each column's slots are filled in the order of the rows.
template <class Cell>
TallMatrix<Cell>::TallMatrix(const RowsView<Cell>& A)
    : adjoint_(A.rows < A.cols), otherCells_(static_cast<std::size_t>(A.entries())),
      otherStarts_(static_cast<std::size_t>(A.cols) + 1, 1), otherColumns_(otherCells_.size())
{
    const std::int64_t count = A.entries();
    for (std::int64_t k = 0; k < count; ++k) ++otherStarts_[static_cast<std::size_t>(A.ja[k])];
    for (std::size_t c = 1; c < otherStarts_.size(); ++c) otherStarts_[c] += otherStarts_[c - 1] - 1;
    std::vector<std::int32_t> next(otherStarts_);
    for (std::int32_t r = 0; r < A.rows; ++r) {
        for (std::int32_t k = A.ia[r] - 1; k < A.ia[r + 1] - 1; ++k) {
            const auto slot = static_cast<std::size_t>(next[static_cast<std::size_t>(A.ja[k]) - 1]++ - 1);
            otherCells_[slot] = conjugate(A.a[k]);
            otherColumns_[slot] = r + 1;
        }
    }
    const RowsView<Cell> other{A.cols, A.rows, otherCells_.data(), otherStarts_.data(), otherColumns_.data()};
    rows_ = adjoint_ ? other : A;
    columns_ = adjoint_ ? A : other;
    measureColumns();
}

template <class Cell>
void TallMatrix<Cell>::measureColumns()
{
    norm_ = blas::nrm2(static_cast<int>(columns_.entries()), columns_.a, 1);
    std::vector<double> norms;
    norms.reserve(static_cast<std::size_t>(columns_.rows));
    for (std::int32_t j = 0; j < columns_.rows; ++j) {
        const std::int32_t start = columns_.ia[j] - 1;
        norms.push_back(blas::nrm2(columns_.ia[j + 1] - 1 - start, columns_.a + start, 1));
    }
    scales_ = ColumnScales(norms);
}

template <class Cell>
void TallMatrix<Cell>::scaleAlike()
{
    scales_.differ = false;
    std::ranges::fill(scales_.scale, scales_.common);
}

template <class Cell>
void TallMatrix<Cell>::times(const Cell* x, Cell* y) const
{
    multiplyColumns(rows_, false, 1, x, y);
}

template <class Cell>
void TallMatrix<Cell>::adjointTimes(const Cell* x, Cell* y) const
{
    multiplyColumns(columns_, false, 1, x, y);
}

template <class Cell>
LinearMap<Cell> TallMatrix<Cell>::asGiven() const
{
    const RowsView<Cell>&A = adjoint_ ? columns_ : rows_, &H = adjoint_ ? rows_ : columns_;
    const auto along = [](const RowsView<Cell>& view) {
        return [&view](std::int32_t columns, const Cell* x, Cell* y) {
            multiplyColumns(view, false, columns, x, y);
        };
    };
    return {A.rows, A.cols, along(A), along(H)};
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template void multiplyColumns(const RowsView<Cell>&, bool, std::int32_t, const Cell*, Cell*);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE
template class TallMatrix<double>;
template class TallMatrix<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
