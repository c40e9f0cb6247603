#pragma once
/// @file
/// What a call of LAPACK takes beside its operands: leading dimensions, and work space whose size is fixed by
/// a formula of the caller. There are no workspace queries.

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail {

/// LAPACK's block size, as the formulas assume it.
inline constexpr std::int64_t kBlockSize = 64;

/// `length` cells, and LWORK to say so: at least 1, which the routines demand even where there is no work,
/// and at most the largest 32-bit number.
template <class Cell>
struct Workspace {
    /// `least` is what the routine cannot do without. @throws NotEnoughMemoryException  LWORK could not say
    /// it
    explicit Workspace(std::int64_t length, std::int64_t least = 1)
        : lwork(lengthToTell(length, least)), cells(lwork)
    {
    }
    Cell* get() const noexcept { return cells.get(); }

    std::int32_t lwork;
    Block<Cell> cells;

private:
    static std::int32_t lengthToTell(std::int64_t length, std::int64_t least)
    {
        if (least > INT32_MAX) requireBlock(nullptr);
        return static_cast<std::int32_t>(std::clamp<std::int64_t>(length, 1, INT32_MAX));
    }
};

} // namespace Velmar::Lintrix::detail
