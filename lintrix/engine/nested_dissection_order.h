#pragma once
/// @file
/// The engine's other order of elimination, for those who eliminate by themselves.

#include <lintrix/services/export.h>

#include <cstdint>
#include <span>

namespace Velmar::Lintrix {

/// Orders the rows and columns of a square pattern, taken together with its transpose, by nested dissection:
/// of large bodies it leaves less fill than minimum degree (`MinimumDegreeOrder`, which tells the pattern and
/// `vertexAt`), and it takes longer.
///
/// The same pattern gets the same order every time, with any number of threads; those in force share the
/// work.
/// @return  0; -2 there is not enough memory; -3 the pattern is none; -4 a listener ended the work; -8 32
/// bits do
///          not hold a size. After a failure the order is undefined.
LINTRIX_EXPORT int NestedDissectionOrder(std::span<const std::int32_t> starts,
                                         std::span<const std::int32_t> columns,
                                         std::span<std::int32_t> vertexAt) noexcept;

} // namespace Velmar::Lintrix
