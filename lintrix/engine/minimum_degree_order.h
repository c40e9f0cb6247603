#pragma once
/// @file
/// The engine's order of elimination, for those who eliminate by themselves.

#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix {

/// What an elimination along the diagonal takes in the order found: of L, diagonal included, and of the
/// operations that make L and U out of real numbers. Estimates from below where rows are
/// nearly full: those come last, and count there alone.
struct EliminationForecast {
    std::int64_t lowerNonZeros = 0;
    double operations = 0.0;
};

/// Orders the rows and columns of a square pattern, taken together with its transpose, so that an elimination
/// along the diagonal leaves little fill: minimum degree. Row i has the columns columns[starts[i]] ..
/// columns[starts[i + 1] - 1], counted from 0, in any order; whether the diagonal is among them makes no
/// difference. vertexAt[position] = row, of starts.size() - 1 elements.
///
/// The same pattern gets the same order every time. Workspace: some six integers an entry and 26 a row.
/// @return  0; -2 there is not enough memory; -3 the pattern is none; -8 32 bits do not hold a size. After a
///          failure the order is undefined.
LINTRIX_EXPORT int MinimumDegreeOrder(std::span<const std::int32_t> starts,
                                      std::span<const std::int32_t> columns, std::span<std::int32_t> vertexAt,
                                      EliminationForecast* forecast = nullptr) noexcept;

} // namespace Velmar::Lintrix
