#pragma once
/// @file
/// Matrices of grids and strips, real and complex, for tests of whole systems.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <type_traits>

namespace Velmar::Lintrix::testing {

enum class GridKind {
    Positive,     ///< hermitian and positive definite
    Convective,   ///< unsymmetric
    ZeroDiagonal, ///< unsymmetric, with a diagonal of zeros that elimination along it meets
};

template <class Cell>
using SparseFor = std::conditional_t<std::is_same_v<Cell, double>, SparseMatrix, CSparseMatrix>;

template <class Cell>
Cell couplingOf(double real, double imaginary)
{
    if constexpr (std::is_same_v<Cell, double>)
        return real;
    else
        return {real, imaginary};
}

/// Of five points each, side x side.
template <class Cell>
SparseFor<Cell> grid(std::int32_t side, GridKind kind)
{
    const std::int32_t n = side * side;
    SparseFor<Cell> A(n, n);
    const auto couple = [&](std::int32_t p, std::int32_t q) {
        const bool mirrored = kind == GridKind::Positive;
        A(p, q) = couplingOf<Cell>(mirrored ? -1.0 : -1.0 - 0.01 * (p % 13), 0.25);
        A(q, p) = couplingOf<Cell>(mirrored ? -1.0 : 0.5, mirrored ? -0.25 : 0.125);
    };
    for (std::int32_t p = 0; p < n; ++p) {
        if (kind != GridKind::ZeroDiagonal) A(p, p) = couplingOf<Cell>(4.5 + 0.001 * (p % 7), 0.0);
        if (p % side + 1 < side) couple(p, p + 1);
        if (p + side < n) couple(p, p + side);
    }
    return A;
}

/// Of full rank: each row has three entries.
template <class Cell>
SparseFor<Cell> strip(std::int32_t rows, std::int32_t cols)
{
    SparseFor<Cell> A(rows, cols);
    const std::int32_t longer = std::max(rows, cols), shorter = std::min(rows, cols);
    for (std::int32_t k = 0; k < longer; ++k) {
        for (const std::int32_t step : {0, 1, 7}) {
            const std::int32_t at = (k + step) % shorter;
            const Cell value = couplingOf<Cell>(step == 0 ? 4.0 + 0.01 * (k % 17) : 1.0, 0.5 * step);
            A(rows >= cols ? k : at, rows >= cols ? at : k) = value;
        }
    }
    return A;
}

/// Columns whose elements differ.
template <class M>
M spread(std::int32_t rows, std::int32_t cols)
{
    M block(rows, cols);
    for (std::int32_t j = 0; j < cols; ++j)
        for (std::int32_t i = 0; i < rows; ++i) block(i, j) = std::cos(1.0 + i + 0.5 * j);
    return block;
}

template <class M>
double largestDifference(const M& A, const M& B)
{
    double largest = 0.0;
    for (std::int32_t j = 0; j < A.Cols(); ++j)
        for (std::int32_t i = 0; i < A.Rows(); ++i) largest = std::max(largest, std::abs(A(i, j) - B(i, j)));
    return largest;
}

} // namespace Velmar::Lintrix::testing
