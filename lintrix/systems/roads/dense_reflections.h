#pragma once
/// @file
/// QR of a dense matrix that is not square, by panels, without the classes.

#include <lintrix/foundation/block.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/roads/columns.h>

#include <cstdint>

namespace Velmar::Lintrix::detail::roads {

/// A = Q*R of a tall matrix, A^H = Q*R of a wide one, by Householder reflections (Golub and Van Loan, Matrix
/// Computations, 4th ed., sections 5.2 and 5.6).
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

    /// R, p x p.
    MatrixOf<Cell> triangle() const;
    /// Whether all p diagonal elements of a pivoted R count (see `solveDense`), and so the number of those
    /// that do. Pivots are chosen only where an estimate of the condition leaves that open.
    std::int32_t rank() const;
    /// X with A*X = B, of full rank: tall in the least-squares sense, wide with smallest norm.
    /// @throws NotEnoughMemoryException, as `WorkScope::tell`
    MatrixOf<Cell> solve(const MatrixOf<Cell>& B) const;

private:
    std::int32_t longer() const { return reflections_.Rows(); }
    std::int32_t shorter() const { return reflections_.Cols(); }
    bool isSurelyOfFullRank() const;
    void divideByTriangle(char op, std::int32_t columns, Cell* x, std::int32_t rows) const;
    void reflect(bool adjoint, MatrixOf<Cell>& X) const;

    bool wide_;
    MatrixOf<Cell> reflections_; ///< R on and above the diagonal, the Householder vectors below it
    Block<Cell> scalars_;        ///< of the reflections
};

} // namespace Velmar::Lintrix::detail::roads
