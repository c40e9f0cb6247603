#pragma once
/// @file
/// Fronts, what they leave of a factor, and what a factorization by them may take.

#include <lintrix/foundation/block.h>

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// A square front, column-major in `cells`. Of its rows and of its columns the first `candidates` are fully
/// summed: all that is to be added to them is there. A symmetric one is its lower triangle, and has names of
/// rows alone.
template <class Cell>
struct Front {
    Cell* cells;
    std::int32_t size, candidates;
    std::span<std::int32_t> rows, columns{}; ///< their names, which follow the exchanges

    Cell* column(std::int32_t j) const noexcept { return cells + std::int64_t{j} * size; }
};

/// What a front has eliminated: columns of L, and of an unsymmetric one as many rows of U.
template <class Cell>
struct FrontPanel {
    Block<Cell> lower{};                         ///< rows.size() x pivots: L, and above its diagonal U
    Block<Cell> upper{};                         ///< pivots x what is left: U
    std::vector<std::int32_t> rows{}, columns{}; ///< positions; the first ones are those of the pivots
    std::int32_t pivots = 0, firstPivot = 0;

    std::int32_t size() const noexcept { return static_cast<std::int32_t>(rows.size()); }
    std::int32_t left() const noexcept { return size() - pivots; }
    bool isSymmetric() const noexcept { return columns.empty(); }
    /// Of L, the diagonal included; or of L and U, with the diagonal once.
    std::int64_t entries() const noexcept
    {
        const std::int64_t all = std::int64_t{pivots} * size(), own = pivots;
        return isSymmetric() ? all - own * (own - 1) / 2 : 2 * all - own * own;
    }
};

enum class Symmetry {
    None,
    Symmetric, ///< A = A'
    Hermitian, ///< A = A^H
};

struct FrontBounds {
    /// In memory at once: of the factor, of the front and of what waits for its parent.
    std::int64_t cells = std::numeric_limits<std::int64_t>::max();
    double operations = std::numeric_limits<double>::infinity();
};

} // namespace Velmar::Lintrix::detail::multifrontal
