#pragma once
/// @file
/// Small patterns, all of them and random ones, and the plain definitions that judge what is found in them.

#include <lintrix/systems/structure/sparse_pattern.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {

using Int = std::int32_t;

/// cells[i][j] says whether (i, j) is in the pattern.
using Cells = std::vector<std::vector<bool>>;

/// Bit i*cols + j of `bits` is cell (i, j).
inline Cells cellsOf(Int rows, Int cols, std::uint64_t bits)
{
    Cells cells(static_cast<std::size_t>(rows), std::vector<bool>(static_cast<std::size_t>(cols)));
    for (Int i = 0; i < rows; ++i)
        for (Int j = 0; j < cols; ++j) cells[i][j] = ((bits >> (i * cols + j)) & 1) != 0;
    return cells;
}

inline detail::PatternArrays patternOf(const Cells& cells, Int cols)
{
    detail::PatternArrays pattern{static_cast<Int>(cells.size()), cols};
    for (const auto& row : cells) {
        for (Int j = 0; j < cols; ++j)
            if (row[j]) pattern.columns.push_back(j);
        pattern.starts.push_back(static_cast<Int>(pattern.columns.size()));
    }
    return pattern;
}

inline Cells randomCells(Int rows, Int cols, double density, std::mt19937_64& generator)
{
    std::bernoulli_distribution there(density);
    Cells cells(static_cast<std::size_t>(rows), std::vector<bool>(static_cast<std::size_t>(cols)));
    for (auto& row : cells)
        for (std::size_t j = 0; j < row.size(); ++j) row[j] = there(generator);
    return cells;
}

/// The largest matching of rows i and below with the columns not in `taken`: every choice is tried.
inline Int exhaustiveMatching(const Cells& cells, std::size_t i, std::uint32_t taken)
{
    if (i == cells.size()) return 0;
    Int best = exhaustiveMatching(cells, i + 1, taken);
    for (std::size_t j = 0; j < cells[i].size(); ++j) {
        const std::uint32_t bit = 1U << j;
        if (cells[i][j] && (taken & bit) == 0)
            best = std::max(best, 1 + exhaustiveMatching(cells, i + 1, taken | bit));
    }
    return best;
}

inline Cells withoutRow(Cells cells, Int row)
{
    cells[row].assign(cells[row].size(), false);
    return cells;
}
inline Cells withoutColumn(Cells cells, Int column)
{
    for (auto& row : cells) row[column] = false;
    return cells;
}

/// A ring: row i has columns i and i + 1, but the last has the first column alone. The diagonal matches all
/// rows but that one, which the augmenting path along the whole ring matches.
inline detail::PatternArrays ring(Int n)
{
    detail::PatternArrays pattern{n, n};
    for (Int i = 0; i < n; ++i) {
        if (i + 1 < n)
            pattern.columns.insert(pattern.columns.end(), {i, i + 1});
        else
            pattern.columns.push_back(0);
        pattern.starts.push_back(static_cast<Int>(pattern.columns.size()));
    }
    return pattern;
}

} // namespace Velmar::Lintrix::testing
