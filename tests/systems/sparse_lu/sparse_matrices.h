#pragma once
/// @file
/// Seeded sparse matrices, real and complex: random ones, block triangular ones, and what a factorization of
/// one must be.

#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/sparse_lu/sparse_lu.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {

using detail::MatrixOf;
using detail::SparseOf;

template <class Cell>
Cell drawn(std::mt19937_64& generator)
{
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    if constexpr (std::is_same_v<Cell, double>)
        return uniform(generator);
    else {
        const double real = uniform(generator);
        return {real, uniform(generator)};
    }
}

/// Each place is filled with probability `density`, of 1 at most, and a random permutation besides, so that
/// the structural rank is full; the diagonal may stay empty.
template <class Cell>
MatrixOf<Cell> randomDense(std::int32_t n, double density, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::bernoulli_distribution there(std::min(density, 1.0));
    MatrixOf<Cell> A(n, n);
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t i = 0; i < n; ++i)
            if (there(generator)) A(i, j) = drawn<Cell>(generator);
    std::vector<std::int32_t> columns(static_cast<std::size_t>(n));
    std::iota(columns.begin(), columns.end(), 0);
    std::shuffle(columns.begin(), columns.end(), generator);
    for (std::int32_t i = 0; i < n; ++i) A(i, columns[i]) = drawn<Cell>(generator);
    return A;
}

/// Blocks of 1 to `largest` rows on the diagonal, entries above them, rows and columns shuffled.
template <class Cell>
MatrixOf<Cell> shuffledBlocks(std::int32_t n, std::int32_t largest, std::uint64_t seed)
{
    std::mt19937_64 generator(seed);
    std::uniform_int_distribution<std::int32_t> size(1, largest);
    std::bernoulli_distribution above(0.1);
    std::vector<std::int32_t> rows(static_cast<std::size_t>(n)), columns(rows.size());
    std::iota(rows.begin(), rows.end(), 0);
    std::iota(columns.begin(), columns.end(), 0);
    std::shuffle(rows.begin(), rows.end(), generator);
    std::shuffle(columns.begin(), columns.end(), generator);
    MatrixOf<Cell> A(n, n);
    for (std::int32_t begin = 0; begin < n;) {
        const std::int32_t end = std::min(n, begin + size(generator));
        for (std::int32_t j = begin; j < end; ++j)
            for (std::int32_t i = 0; i < end; ++i)
                if (i >= begin || above(generator)) A(rows[i], columns[j]) = drawn<Cell>(generator);
        begin = end;
    }
    return A;
}

} // namespace Velmar::Lintrix::testing
