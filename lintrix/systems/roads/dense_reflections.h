#pragma once
/// @file
/// QR of a dense matrix that is not square, by panels, without the classes.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/quality/column_scales.h>
#include <lintrix/systems/roads/columns.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::roads {

/// A*D = Q*R of a tall matrix, A^H*D = Q*R of a wide one, by Householder reflections (Golub and Van Loan,
/// Matrix Computations, 4th ed., sections 5.2 and 5.6).
///
/// D evens out the columns where their lengths differ widely (see `ColumnScales`): in other units of the
/// unknowns of a tall system, and of the equations of a wide one, the matrix has the same rank.
///
/// By panels of columns: geqrf of a panel, then its reflections of the columns behind it, a stretch of them
/// after the other. Between all of these whoever listens is asked and told, so that no step of a large matrix
/// goes on for longer than a panel does. Cost: 2*p^2*(q - p/3) operations, p the shorter and q the longer
/// side, of complex cells four times as many.
template <class Cell>
class LINTRIX_TESTABLE DenseReflections {
public:
    /// @throws NotEnoughMemoryException, as `WorkScope::tell`
    explicit DenseReflections(const MatrixOf<Cell>& A);

    /// R, p x p; finite where A is.
    MatrixOf<Cell> triangle() const;
    /// Whether all p diagonal elements of a pivoted R count (see `solveDense`), and so the number of those
    /// that do. Pivots are chosen only where an estimate of the condition leaves that open.
    std::int32_t rank() const;
    /// An estimate of the condition of A*D in the 2-norm, or somewhat above.
    double condition() const;
    /// X with A*X = B, of full rank: tall in the least-squares sense, wide with smallest norm.
    /// @throws NotEnoughMemoryException, as `WorkScope::tell`
    MatrixOf<Cell> solve(const MatrixOf<Cell>& B) const;
    /// With M the tall one of A and A^H, the solution of
    ///
    ///     t + M*w = f,  M^H*t = g
    ///
    /// in place of f, q rows, and g, p rows (see `refine`). @throws as `solve`
    void solveAugmented(std::int32_t columns, Cell* F, Cell* G) const;

    /// X := D*X, X of p rows.
    void multiplyByScales(MatrixOf<Cell>& X) const
    {
        multiplyByScales(X.Cols(), columnCells(X, 0).data(), shorter());
    }

    std::int32_t longer() const { return reflections_.Rows(); }

private:
    std::int32_t shorter() const { return reflections_.Cols(); }
    bool isSurelyOfFullRank() const;
    void divideByTriangle(char op, std::int32_t columns, Cell* x, std::int32_t rows) const;
    void reflect(bool adjoint, std::int32_t columns, Cell* x) const;
    void multiplyByScales(std::int32_t columns, Cell* x, std::int32_t rows) const;
    void evenColumns();

    bool wide_;
    ColumnScales scales_{};      ///< D
    MatrixOf<Cell> reflections_; ///< R on and above the diagonal, the Householder vectors below it
    Block<Cell> scalars_;        ///< of the reflections
};

} // namespace Velmar::Lintrix::detail::roads
