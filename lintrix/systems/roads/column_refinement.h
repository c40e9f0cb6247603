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
#include <cstdlib>
#include <new>
#include <optional>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

/// Each column of op(A)*X = B as long as a step halves its residual. `solve` makes op(A)^-1*cells of cells in
/// place. @return  the steps of the column that took most
template <class Cell, class Solve>
std::int32_t refineColumns(const SparseOf<Cell>& A, const MatrixOf<Cell>& B, MatrixOf<Cell>& X,
                           TransposeMode op, std::int32_t most, const Solve& solve)
{
    std::int32_t longest = 0;
    for (std::int32_t j = 0; j < B.Cols(); ++j) {
        const MatrixOf<Cell> b = columnOf(B, j);
        MatrixOf<Cell> x = columnOf(X, j), r = residualOf<Cell>(A, x, b, op);
        for (std::int32_t step = 1; step <= most; ++step) {
            MatrixOf<Cell> correction(r);
            solve(cellsOf(correction));
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
    if (most == 0) return 0;
    return refineColumns<Cell>(A, B, X, op, most, [&](auto cells) { factor.solve(op, cells); });
}

/// The same as a road answers. `operations`: of a solve. @param taken  the steps, where there is an answer
template <class Cell, class Factor>
EngineAnswer answerRefined(const SparseOf<Cell>& A, const Factor& factor, const MatrixOf<Cell>& B,
                           MatrixOf<Cell>& X, TransposeMode op, std::optional<std::int32_t> most,
                           double operations, std::int32_t& taken)
try {
    taken = 0;
    taken = solveRefined<Cell>(A, factor, B, X, op, std::abs(most.value_or(0)));
    WorkScope::tell(operations);
    return {};
} catch (const NotEnoughMemoryException&) {
    return {.error = kEngineNoMemory};
} catch (const std::bad_alloc&) {
    return {.error = kEngineNoMemory};
}

} // namespace Velmar::Lintrix::detail::roads
