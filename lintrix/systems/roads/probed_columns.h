#pragma once
/// @file
/// What is solved for: right-hand sides that were given or whose solutions are known, and the probe.

#include <lintrix/systems/roads/column_units.h>
#include <lintrix/systems/roads/quality.h>

#include <optional>
#include <span>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

/// Of op(A)*X = B, A square.
template <class Cell>
struct ProbedColumns {
    MatrixOf<Cell> B;     ///< the probe's last, those that were given in units of their own
    MatrixOf<Cell> known; ///< solutions of the last columns of B
    std::optional<ColumnUnits<Cell>> units{}; ///< of those that were given
};

/// `given` or `known` columns, or neither; the probe in `units` of the unknowns. `Matrix` is sparse or dense.
template <class Cell, class Matrix>
ProbedColumns<Cell> probedColumns(const Matrix& A, const MatrixOf<Cell>* given, const MatrixOf<Cell>* known,
                                  TransposeMode op, std::span<const int> units)
{
    MatrixOf<Cell> solutions = probeSolution<Cell>(A.Rows(), units);
    if (known) solutions = beside(*known, solutions);
    MatrixOf<Cell> products = productOf<Cell>(A, solutions, op);
    if (!given) return {std::move(products), std::move(solutions)};
    ColumnUnits<Cell> ownUnits(*given);
    MatrixOf<Cell> own = copyOfColumns(*given);
    ownUnits.divide(own);
    return {beside(own, products), std::move(solutions), std::move(ownUnits)};
}

/// The same columns with another probe.
template <class Cell, class Matrix>
ProbedColumns<Cell> withOtherProbe(const Matrix& A, const MatrixOf<Cell>& B, const MatrixOf<Cell>& known,
                                   TransposeMode op, std::span<const int> units)
{
    const MatrixOf<Cell> probe = probeSolution<Cell>(A.Rows(), units);
    return {beside(columnsOf(B, 0, B.Cols() - 1), productOf<Cell>(A, probe, op)),
            beside(columnsOf(known, 0, known.Cols() - 1), probe)};
}

} // namespace Velmar::Lintrix::detail::roads
