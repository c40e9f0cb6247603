#pragma once
/// @file
/// Huge pages for large blocks.

#include <lintrix/services/export.h>

#include <cstddef>

namespace Velmar::Lintrix::detail {

/// Asks the system to back the whole huge pages inside a block by huge pages, from kLeastForHugePages bytes
/// on: to be called before the block is touched. The first touch is then about twice as fast, and a walk down
/// the rows of a large panel, each column on pages of its own, finds its addresses translated. Where the
/// system does not leave the choice to the program it refuses, which costs nothing.
LINTRIX_TESTABLE void preferHugePages(void* block, std::size_t bytes) noexcept;

inline constexpr std::size_t kLeastForHugePages = std::size_t{4} << 20; ///< below, rounding would show

} // namespace Velmar::Lintrix::detail
