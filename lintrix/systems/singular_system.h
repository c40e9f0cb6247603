#pragma once
/// @file
/// A system whose matrix is singular to working precision: what makes it so, and whether there are solutions.

#include <lintrix/systems/linear_system.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/structure/structural_faults.h>

#include <optional>

namespace Velmar::Lintrix::detail {

template <class Cell>
struct SingularJudgement {
    MatrixFaults faults{};
    Solutions solutions = Solutions::Unknown; ///< of all right-hand sides, the worst counts
    /// The shortest solution of each right-hand side, where there are many.
    std::optional<MatrixOf<Cell>> x{};
};

/// Of op(A)*X = B, of the first `columns` of B (or of none), by a factor whose pivots are small or were
/// replaced. Up to 32 directions are found that A sends to zero; of more it stays unknown whether there are
/// solutions. Cost: some twenty solves of four columns; of more columns where more directions show, up to
/// half of the `operations` of the factorization; and some of each right-hand side.
template <class Cell>
SingularJudgement<Cell> judgeSingular(const AnyMatrix<Cell>& A, roads::Factored<Cell>& factor,
                                      TransposeMode op, const MatrixOf<Cell>& B, std::int32_t columns,
                                      double operations);

/// Of op(A)*X = B where A has not full structural rank: none where what a row without elements, or the
/// over-determined part of op(A), in which no other unknown is, asks for cannot be had; else unknown.
template <class Cell>
Solutions judgeStructurallySingular(const SparseEntries<Cell>& A, const StructuralFaults& faults,
                                    TransposeMode op, const MatrixOf<Cell>& B);

} // namespace Velmar::Lintrix::detail
