#pragma once
/// @file
/// The direct solver for complex sparse matrices, as a class.
///
/// The twin of `SparseSolver`. Where the two differ (the strategy, what `MatrixType` reads, the failure of a
/// matrix with a wrong number of rows, the text of a failing further column), callers of each rely on what it
/// does, and the members say so.

#include <lintrix/solvers/detail/direct_solver.h>
#include <lintrix/sparse/csparse_matrix.h>

namespace Velmar::Lintrix {

/// Solves A*x = b by sparse factorization: LU with matching and scaling, or L*D*L^H of a Hermitian matrix.
///
///     CSparseSolver solver(A);
///     const CVector x = solver.Solve(b);
///
/// Every `Solve` factorizes the values that the matrix has then, and solves directly; the analysis of the
/// pattern is done once, so that a sequence of matrices with one pattern, such as a sweep over frequencies,
/// takes one solver and one matrix whose values change. Nobody looks at the residual of what is returned.
class LINTRIX_EXPORT CSparseSolver : public detail::DirectSolver<Complex> {
public:
    /// Prepares everything and calls no engine phase. A matrix whose `Hermitian()` is true is taken for
    /// indefinite with its upper triangle stored, any other for unsymmetric. Settings at the start:
    /// NestedDissection, ComputeAlways, StoppingTolerance 1e-06, RefinementSteps 0, PivotEpsilon 1e-08 of a
    /// Hermitian matrix and 1e-13 of another; matching and scaling for unsymmetric matrices only.
    /// @throws NotEnoughMemoryException
    explicit CSparseSolver(const CSparseMatrix& matrix);
    CSparseSolver(const CSparseMatrix&&) = delete; ///< the matrix would not outlive the solver

    /// @name Solving
    /// Both return new objects, owned by the caller.
    /// @{

    /// X with A*X = rhnds: A.Rows() x nrhs in, A.Cols() x nrhs out. The first column goes with the
    /// factorization, each further one is a call of its own. Checks and failures in this order; the engine's
    /// error number is told by Status().
    /// @throws InvalidSizeException      rhnds.Rows() != A.Rows(): "Invalid number of rows or columns."
    /// The hardened build: @throws InvalidOperationException  "The matrix of a solver must be square."; "The
    /// only element of each row must stand on the diagonal."; "The pattern of a solver's matrix must not
    /// change after its analysis."
    /// @throws OperationFailedException  "Error during matrix analysis phase."; the next call tries again
    /// @throws NotEnoughMemoryException  for the result
    /// @throws OperationFailedException  "Error during matrix factorization and solve phase."
    /// @throws OperationFailedException  "Error during solve phase."
    CMatrix Solve(const CMatrix& rhnds);
    /// x with A*x = rhnds, of A.Cols() elements. As above.
    CVector Solve(const CVector& rhnds);
    /// @}

    /// Reads `Unsymmetric`, whatever was written or assumed at the start. Programs have come to rest on it,
    /// so it stays: remember what you wrote.
    Lintrix::MatrixType MatrixType() const noexcept { return MatrixType::Unsymmetric; }
    /// What the solver assumes of the matrix: StructurallySymmetric and Unsymmetric take all elements,
    /// PositiveDefinite and Indefinite the upper triangle of a Hermitian matrix. Writing changes that alone,
    /// not the storage of the matrix and no other setting, so the caller answers for a type that fits the
    /// arrays. Between those two it may change at any time. Complex symmetric matrices are solved as
    /// unsymmetric ones, or by `pardiso` itself.
    void MatrixType(Lintrix::MatrixType value) noexcept;

    /// ComputeAlways, and so no iteration asks for StoppingTolerance.
    Lintrix::FactorizationStrategy FactorizationStrategy() const noexcept
    {
        return FactorizationStrategy::ComputeAlways;
    }
    /// @throws ArgumentOutOfRangeException  anything else than ComputeAlways, parameter "value": "Setting is
    /// not valid for complex matrices."
    void FactorizationStrategy(Lintrix::FactorizationStrategy value);
};

static_assert(Disposable<CSparseSolver>);

} // namespace Velmar::Lintrix
