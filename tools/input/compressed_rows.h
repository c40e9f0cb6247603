#pragma once
// A sparse matrix, real or complex, in the arrays that the direct solver takes.

#include <tools/support/input_error.h>

#include <lintrix/sparse/sparse_matrix.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

using ComplexNumber = std::complex<double>;

template <class Cell>
inline constexpr bool kIsComplex = !std::is_same_v<Cell, double>;

/// What stands below the diagonal.
enum class Below {
    Stored,    ///< what is stored there: all elements are
    Mirrored,  ///< the upper triangle's elements; only that is stored
    Conjugated ///< their conjugates; likewise
};

inline double conjugate(double value)
{
    return value;
}
inline ComplexNumber conjugate(ComplexNumber value)
{
    return std::conj(value);
}

/// Compressed rows that count from 1, columns ascending within each.
template <class Cell>
struct CompressedRows {
    Below below = Below::Stored;
    std::int32_t cols = 0;
    std::vector<std::int32_t> ia{1}, ja{};
    std::vector<Cell> a{};

    std::int32_t rows() const noexcept { return static_cast<std::int32_t>(ia.size()) - 1; }
    std::int32_t entries() const noexcept { return static_cast<std::int32_t>(ja.size()); }
    bool isTriangle() const noexcept { return below != Below::Stored; }
    /// The element across the diagonal from one of this value.
    Cell across(Cell value) const { return below == Below::Conjugated ? conjugate(value) : value; }
};

/// Visits the stored entries row by row: visit(row, col, value), from 0.
template <class Cell, class Visit>
void forEachEntry(const CompressedRows<Cell>& matrix, Visit visit)
{
    for (std::int32_t row = 0; row < matrix.rows(); ++row) {
        const auto end = static_cast<std::size_t>(matrix.ia[static_cast<std::size_t>(row) + 1] - 1);
        for (auto k = static_cast<std::size_t>(matrix.ia[static_cast<std::size_t>(row)] - 1); k < end; ++k) {
            visit(row, matrix.ja[k] - 1, matrix.a[k]);
        }
    }
}

/// Rows of what `visit` tells, twice, to a function (row, col, value): once for their lengths and once for
/// their contents, which keep the order in which they are told.
template <class Cell, class Visit>
CompressedRows<Cell> rowsFrom(std::int32_t rows, std::int32_t cols, Visit visit)
{
    CompressedRows<Cell> result;
    result.cols = cols;
    result.ia.assign(static_cast<std::size_t>(rows) + 1, 0);
    visit([&result](std::int32_t row, std::int32_t, Cell) { ++result.ia[static_cast<std::size_t>(row)]; });
    std::int64_t next = 1; // each length becomes the place of the row's first entry
    for (std::int32_t& length : result.ia) next += std::exchange(length, static_cast<std::int32_t>(next));
    if (next > INT32_MAX) throw InputError("the matrix has too many entries");
    result.ja.resize(static_cast<std::size_t>(next) - 1);
    result.a.resize(result.ja.size());
    std::vector<std::int32_t> cursor = result.ia;
    visit([&](std::int32_t row, std::int32_t col, Cell value) {
        const auto slot = static_cast<std::size_t>(cursor[static_cast<std::size_t>(row)]++ - 1);
        result.ja[slot] = col + 1;
        result.a[slot] = value;
    });
    return result;
}

/// The same matrix; of a symmetric one its triangle.
CompressedRows<double> rowsOf(const SparseMatrix& matrix);

/// With a zero at each place of the diagonal that has no entry; with `upperOnly` without what is below it.
/// @pre square
template <class Cell>
CompressedRows<Cell> withDiagonal(const CompressedRows<Cell>& matrix, bool upperOnly);

/// All elements of a triangle.
template <class Cell>
CompressedRows<Cell> bothTrianglesOf(const CompressedRows<Cell>& triangle);

/// y = y + factor*A*x, with both triangles. @pre square where one is stored
template <class Cell>
void addProduct(double factor, const CompressedRows<Cell>& A, std::span<const Cell> x, std::span<Cell> y);

} // namespace Velmar::Lintrix::tools
