#pragma once
/// @file
/// What a call of LAPACK takes beside its operands: leading dimensions, work space whose size is fixed by a
/// formula of the caller (there are no workspace queries), and room behind an operand where a kernel reads
/// on.

#include <lintrix/dense/detail/sizes.h>
#include <lintrix/foundation/block.h>
#include <lintrix/foundation/failures.h>

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <utility>

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

/// Cells behind an operand with rows at a stride of `ld` that a routine may read, though it uses none of
/// them. OpenBLAS's kernels for a complex matrix times a vector read one cell past the vector; where that is
/// the row of a matrix, as in a reflection from the right, the cell stands up to a column past its end, and
/// may be nobody's.
template <class Cell>
std::int64_t slackBehind(std::int32_t ld)
{
    return std::is_same_v<Cell, double> ? 0 : ld;
}

/// A copy of `count` cells with the slack behind.
template <class Cell>
Block<Cell> withSlack(const Cell* source, std::int64_t count, std::int32_t ld)
{
    const std::int64_t slack = slackBehind<Cell>(ld);
    Block<Cell> block(count + slack);
    std::copy_n(source, count, block.get());
    std::fill_n(block.get() + count, slack, Cell());
    return block;
}

/// The first `count` cells alone, which is what an object keeps.
template <class Cell>
Block<Cell> withoutSlack(Block<Cell>&& block, std::int64_t count)
{
    if constexpr (!std::is_same_v<Cell, double>) block.shrink(count);
    return std::move(block);
}

} // namespace Velmar::Lintrix::detail
