#pragma once
/// @file
/// A front as tests make it, and what is true of the names of its rows after any elimination.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace Velmar::Lintrix::testing {

/// Square, column after column; row i is called i.
template <class Cell>
struct FrontCells {
    explicit FrontCells(std::int32_t n)
        : size(n), cells(static_cast<std::size_t>(n) * n), rows(static_cast<std::size_t>(n))
    {
        std::iota(rows.begin(), rows.end(), 0);
    }
    Cell& at(std::int32_t i, std::int32_t j) { return cells[static_cast<std::size_t>(j) * size + i]; }

    std::int32_t size;
    std::vector<Cell> cells;
    std::vector<std::int32_t> rows;
    std::int32_t done = 0; ///< rows that were eliminated
};

/// Candidates stay before the others, whose order stays.
inline void expectNames(std::vector<std::int32_t> names, std::int32_t candidates)
{
    std::sort(names.begin(), names.begin() + candidates);
    for (std::int32_t i = 0; i < std::ssize(names); ++i) ASSERT_EQ(names[i], i);
}

} // namespace Velmar::Lintrix::testing
