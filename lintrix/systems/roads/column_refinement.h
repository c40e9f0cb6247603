#pragma once
/// @file
/// Refinement of solutions by a factor at hand.

#include <lintrix/foundation/failures.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/direct_run.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// The same of a few columns at once: those that have come to their end are taken along, which costs less
/// than a solve of each. Residuals are those of the products that `productOf` makes, so that where B is such
/// a product of what X comes to, nothing is left.
template <class Cell, class Factor>
std::int32_t refineTogether(const SparseOf<Cell>& A, const Factor& factor, const MatrixOf<Cell>& B,
                            MatrixOf<Cell>& X, TransposeMode op, std::int32_t most)
{
    std::vector<bool> goesOn(static_cast<std::size_t>(B.Cols()), true);
    std::int32_t longest = 0;
    MatrixOf<Cell> R = residualOf<Cell>(A, X, B, op);
    for (std::int32_t step = 1; step <= most && std::ranges::count(goesOn, true) > 0; ++step) {
        MatrixOf<Cell> next(R);
        factor.solve(op, cellsOf(next));
        WorkScope::tell();
        next = X + next;
        const MatrixOf<Cell> left = residualOf<Cell>(A, next, B, op);
        for (std::int32_t j = 0; j < B.Cols(); ++j) {
            const auto which = static_cast<std::size_t>(j);
            const double before = largestModulus(columnCells(std::as_const(R), j).data(), B.Rows()),
                         after = largestModulus(columnCells(left, j).data(), B.Rows());
            const bool isBetter = goesOn[which] && after < before;
            goesOn[which] = isBetter && after <= 0.5 * before;
            if (!isBetter) continue;
            longest = step;
            std::ranges::copy(columnCells(std::as_const(next), j), columnCells(X, j).begin());
            std::ranges::copy(columnCells(left, j), columnCells(R, j).begin());
        }
    }
    return longest;
}

/// Each column of op(A)*X = B as long as a step by a factor of A halves its residual. @return  the steps of
/// the column that took most
template <class Cell, class Factor>
std::int32_t refineColumns(const SparseOf<Cell>& A, const Factor& factor, const MatrixOf<Cell>& B,
                           MatrixOf<Cell>& X, TransposeMode op, std::int32_t most)
{
    constexpr std::int32_t kTogether = 4;
    if (B.Cols() <= kTogether) return refineTogether<Cell>(A, factor, B, X, op, most);
    std::int32_t longest = 0;
    for (std::int32_t j = 0; j < B.Cols(); j += kTogether) {
        const std::int32_t end = std::min(j + kTogether, B.Cols());
        MatrixOf<Cell> some = columnsOf(X, j, end);
        longest = std::max(longest, refineTogether<Cell>(A, factor, columnsOf(B, j, end), some, op, most));
        copyColumns(some, X, j);
    }
    return longest;
}

/// X with op(A)*X = B by a factor of A, refined up to `most` times. @return  the steps of the column that
/// took most
template <class Cell, class Factor>
std::int32_t solveRefined(const SparseOf<Cell>& A, const Factor& factor, const MatrixOf<Cell>& B,
                          MatrixOf<Cell>& X, TransposeMode op, std::int32_t most)
{
    X = B;
    factor.solve(op, cellsOf(X));
    return most == 0 ? 0 : refineColumns<Cell>(A, factor, B, X, op, most);
}

/// What came of a solve, as a road answers. @param operations  of the solve @param steps  what it returns,
/// 0 where there is no answer
template <class Solve>
EngineAnswer answerTo(double operations, std::int32_t& steps, const Solve& solve)
try {
    steps = 0;
    steps = solve();
    WorkScope::tell(operations);
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
} catch (const std::bad_alloc&) {
    return {.error = kEngineNoMemory};
}

} // namespace Velmar::Lintrix::detail::roads
