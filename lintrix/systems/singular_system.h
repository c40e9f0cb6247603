#pragma once
/// @file
/// A system whose matrix is singular to working precision: what makes it so, and whether there are solutions.

#include <lintrix/systems/linear_system.h>
#include <lintrix/systems/quality/any_matrix.h>
#include <lintrix/systems/roads/factored.h>
#include <lintrix/systems/structure/structural_faults.h>

#include <optional>

namespace Velmar::Lintrix::detail {

struct SingularQuestion {
    std::int32_t columns = 0; ///< that are asked for; none: of the matrix alone
    bool isHermitian = false;
    std::int32_t replaced = 0; ///< pivots of the factor: mostly there are no more directions; 0: none is told
    double operations = 0.0;   ///< of the factorization
};

template <class Cell>
struct SingularJudgement {
    MatrixFaults faults{};
    bool isSingular = false;                  ///< a direction was found that A sends to zero
    Solutions solutions = Solutions::Unknown; ///< of all right-hand sides, the worst counts
    /// A solution of each right-hand side, where there are many: the shortest, if all directions are known.
    std::optional<MatrixOf<Cell>> x{};
    bool isShortest = true;
};

/// Of op(A)*X = B, of the first columns of B, by a factor whose pivots are small or were replaced. Up to 128
/// directions are found that A sends to zero; of more it stays unknown whether there are solutions, unless
/// one is seen. Cost: mostly a few solves with a column for each direction, as `findNearNull` tells, and some
/// of each right-hand side. More than 4 directions are sought where that takes no longer than half of the
/// operations of the factorization, or a fraction of a second; but where no replaced pivot tells of them,
/// no longer than factorization and solve or a millisecond, as long as solutions are seen all the same.
template <class Cell>
SingularJudgement<Cell> judgeSingular(const AnyMatrix<Cell>& A, roads::Factored<Cell>& factor,
                                      TransposeMode op, const MatrixOf<Cell>& B,
                                      const SingularQuestion& asked);

/// Of op(A)*X = B where A has not full structural rank: none where what a row without elements, or the
/// over-determined part of op(A), in which no other unknown is, asks for cannot be had; else unknown.
template <class Cell>
Solutions judgeStructurallySingular(const SparseEntries<Cell>& A, const StructuralFaults& faults,
                                    TransposeMode op, const MatrixOf<Cell>& B);

} // namespace Velmar::Lintrix::detail
