#pragma once
/// @file
/// What a sparse matrix must be before it is written to a file.

#include <lintrix/complex/detail/parts.h>
#include <lintrix/foundation/failures.h>
#include <lintrix/sparse/access.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>

namespace Velmar::Lintrix::detail {

/// @throws ArgumentException  `text`, of the parameter "matrix"
inline void requireFinite(std::span<const double> values, const char* text)
{
    if (std::ranges::all_of(values, [](double value) { return std::isfinite(value); })) return;
    throw ArgumentException(text, "matrix");
}

/// The stored numbers, of complex ones both parts.
inline std::span<const double> numbersOf(const CompressedMatrix<double>& matrix)
{
    return matrix.Values();
}
inline std::span<const double> numbersOf(const CompressedMatrix<Complex>& matrix)
{
    const auto values = matrix.Values();
    return {partsOf(values.data()), 2 * values.size()};
}

/// The mark is only a reading of the arrays. A file with a symmetry is square, and holds one triangle.
template <class Cell>
void requireUpperTriangle(const CompressedMatrix<Cell>& matrix)
{
    if (matrix.Rows() != matrix.Cols()) throw NotSquareMatrixException();
    const std::string name = std::is_same_v<Cell, double> ? "A symmetric" : "A Hermitian";
    std::int32_t begun = -1;
    for (const auto [row, col, value] : matrix) {
        if (row == begun) continue; // columns ascend: the first of a row tells
        begun = row;
        if (col < row) throw ArgumentException(name + " matrix has elements below its diagonal", "matrix");
        if (col == row && std::imag(value) != 0.0)
            throw ArgumentException("A Hermitian matrix has a real diagonal", "matrix");
    }
}

/// @throws ArgumentException  `finiteOnly`, or as above
template <class Cell>
void requireSoundSparse(const CompressedMatrix<Cell>& matrix, const char* finiteOnly)
{
    requireFinite(numbersOf(matrix), finiteOnly);
    if (SparseAccess::isMarked(matrix)) requireUpperTriangle(matrix);
}

} // namespace Velmar::Lintrix::detail
