#pragma once
/// @file
/// Refinement of solutions by a factor at hand.

#include <lintrix/foundation/failures.h>
#include <lintrix/services/work.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/columns.h>
#include <lintrix/systems/roads/direct_run.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <span>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

/// Columns x of op(A)*x = b as below, all at once: those that have come to their end are taken along, which
/// costs less than a solve of each.
template <class Cell, class Factor>
std::int32_t refineTogether(const AnyMatrix<Cell>& A, const Factor& factor, TransposeMode op,
                            std::int32_t columns, const Cell* b, Cell* x, std::int32_t most)
{
    const std::int32_t n = A.rows();
    const std::size_t cells = static_cast<std::size_t>(n) * static_cast<std::size_t>(columns);
    std::vector<Cell> r(cells), next(cells), left(cells);
    std::vector<bool> goesOn(static_cast<std::size_t>(columns), true);
    std::int32_t longest = 0;
    residual(A, op, columns, b, x, r.data());
    for (std::int32_t step = 1; step <= most && std::ranges::count(goesOn, true) > 0; ++step) {
        next = r;
        factor.solve(op, std::span(next));
        for (std::size_t k = 0; k < cells; ++k) next[k] += x[k];
        residual(A, op, columns, b, next.data(), left.data());
        for (std::int32_t c = 0; c < columns; ++c) {
            const std::int64_t first = std::int64_t{n} * c;
            const double before = largestModulus(r.data() + first, n),
                         after = largestModulus(left.data() + first, n);
            const bool isBetter = goesOn[static_cast<std::size_t>(c)] && after < before;
            goesOn[static_cast<std::size_t>(c)] = isBetter && after <= 0.5 * before;
            if (!isBetter) continue;
            longest = step;
            std::copy_n(next.data() + first, n, x + first);
            std::copy_n(left.data() + first, n, r.data() + first);
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
    std::int32_t longest = 0;
    for (std::int32_t j = 0; j < B.Cols(); j += kTogether)
        longest = std::max(longest,
                           refineTogether(AnyMatrix<Cell>(A), factor, op, std::min(kTogether, B.Cols() - j),
                                          columnCells(B, j).data(), columnCells(X, j).data(), most));
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
