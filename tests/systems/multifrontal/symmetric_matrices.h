#pragma once
/// @file
/// Seeded symmetric and Hermitian matrices, from definite ones to saddle points and singular ones.

#include <lintrix/systems/cells.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/structure/sparse_entries.h>
#include <tests/systems/sparse_lu/sparse_matrices.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <type_traits>

namespace Velmar::Lintrix::testing {

template <class Cell>
Cell mirrorOf(const Cell& x, bool hermitian)
{
    return hermitian ? detail::conjugate(x) : x;
}

/// Each place is filled with probability `density`, of 1 at most, and the diagonal.
template <class Cell>
MatrixOf<Cell> randomSymmetric(std::int32_t n, double density, std::uint64_t seed, bool hermitian)
{
    std::mt19937_64 generator(seed);
    std::bernoulli_distribution there(std::min(density, 1.0));
    MatrixOf<Cell> A(n, n);
    for (std::int32_t j = 0; j < n; ++j) {
        const Cell own = drawn<Cell>(generator);
        A(j, j) = hermitian ? Cell(std::real(own)) : own;
        for (std::int32_t i = j + 1; i < n; ++i) {
            if (!there(generator)) continue;
            const Cell value = drawn<Cell>(generator);
            A(i, j) = value;
            A(j, i) = mirrorOf(value, hermitian);
        }
    }
    return A;
}

/// No element among the last `constraints` unknowns: a saddle point.
template <class Cell>
MatrixOf<Cell> saddlePoint(MatrixOf<Cell> A, std::int32_t constraints)
{
    for (std::int32_t j = A.Rows() - constraints; j < A.Rows(); ++j)
        for (std::int32_t i = A.Rows() - constraints; i < A.Rows(); ++i) A(i, j) = Cell();
    return A;
}

/// Plus a diagonal.
template <class Cell>
MatrixOf<Cell> shifted(MatrixOf<Cell> A, double shift)
{
    for (std::int32_t i = 0; i < A.Rows(); ++i) A(i, i) = A(i, i) + Cell(shift);
    return A;
}

/// Unknowns in units of powers of two, from 10^-power to 10^power, on both sides.
template <class Cell>
MatrixOf<Cell> inUnits(MatrixOf<Cell> A, double power, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    const double most = power * std::log2(10.0);
    std::uniform_real_distribution<double> unit(-most, most);
    std::vector<int> exponents(static_cast<std::size_t>(A.Rows()));
    for (int& exponent : exponents) exponent = static_cast<int>(unit(generator));
    for (std::int32_t j = 0; j < A.Cols(); ++j)
        for (std::int32_t i = 0; i < A.Rows(); ++i)
            A(i, j) = A(i, j) * std::ldexp(1.0, exponents[i]) * std::ldexp(1.0, exponents[j]);
    return A;
}

} // namespace Velmar::Lintrix::testing
