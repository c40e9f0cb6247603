#pragma once
/// @file
/// Refinement of solutions, column by column, by a factor at hand.

#include <lintrix/foundation/failures.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/direct_run.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

/// Each column of op(A)*X = B as long as a step by a factor of A halves its residual. @return  the steps of
/// the column that took most
template <class Cell, class Factor>
std::int32_t refineColumns(const SparseOf<Cell>& A, const Factor& factor, const MatrixOf<Cell>& B,
                           MatrixOf<Cell>& X, TransposeMode op, std::int32_t most)
{
    std::int32_t longest = 0;
    for (std::int32_t j = 0; j < B.Cols(); ++j) {
        const MatrixOf<Cell> b = columnOf(B, j);
        MatrixOf<Cell> x = columnOf(X, j), r = residualOf<Cell>(A, x, b, op);
        for (std::int32_t step = 1; step <= most; ++step) {
            MatrixOf<Cell> correction(r);
            factor.solve(op, cellsOf(correction));
            WorkScope::tell();
            MatrixOf<Cell> next = x + correction, left = residualOf<Cell>(A, next, b, op);
            const double before = largestModulus(cellsOf(r).data(), B.Rows()),
                         after = largestModulus(cellsOf(left).data(), B.Rows());
            if (!(after < before)) break;
            longest = std::max(longest, step);
            x = std::move(next);
            r = std::move(left);
            if (after > 0.5 * before) break;
        }
        copyColumns(x, X, j);
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
