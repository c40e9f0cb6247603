#pragma once
/// @file
/// Work space of a LAPACK call, its size fixed by a formula of the caller: there are no workspace queries.

#include <lintrix/foundation/block.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// LAPACK's block size, as the formulas assume it.
inline constexpr std::int64_t kBlockSize = 64;

/// `length` cells, and LWORK to say so; capped at the largest 32-bit number, which is never too short.
struct Workspace {
    explicit Workspace(std::int64_t length)
        : lwork(static_cast<std::int32_t>(std::min<std::int64_t>(length, INT32_MAX))), cells(lwork)
    {
    }
    double* get() const noexcept { return cells.get(); }

    std::int32_t lwork;
    Block<double> cells;
};

} // namespace Velmar::Lintrix::detail
