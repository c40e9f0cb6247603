#pragma once
/// @file
/// The direct solver for real sparse matrices, as a class.

#include <lintrix/solvers/detail/direct_solver.h>
#include <lintrix/sparse/sparse_matrix.h>

namespace Velmar::Lintrix {

/// Solves A*x = b by sparse factorization: LU with matching and scaling, or L*D*L' of a symmetric matrix.
///
///     SparseSolver solver(A);
///     const Vector x = solver.Solve(b);
///
/// **What the default strategy promises.** With `ComputeWhenNeeded` every solution comes from an iteration,
/// for which the factors at hand are the preconditioner: conjugate gradients if the matrix was symmetric when
/// the solver was made, else conjugate gradients squared. Where the factors are those of the very values that
/// the matrix has, as in the first `Solve`, no column fails where `ComputeAlways` succeeds, and none is
/// worse: the better of the iteration and the direct solution is returned, by its backward error. After a
/// change of values a later `Solve` keeps the old factors while they serve: the iteration ends when its
/// correction is below StoppingTolerance times the solution, 1e-06 or about *six digits*, of a symmetric
/// matrix, and below the square of it, about twelve digits, of another. Where it does not get there in the
/// first column, new factors are made within the call. In a further column none are: where the old ones do
/// not serve it, though they have served the first, `Solve` fails (`ZeroPivot`, the engine's -4), and the
/// next one factorizes. Which factors are kept depends on measured times, so runs need not agree in their
/// bits. `ComputeAlways` factorizes at every `Solve` and solves directly. It looks at no residual of what it
/// returns; the better of two may be a poor one as well.
class LINTRIX_EXPORT SparseSolver : public detail::DirectSolver<double> {
public:
    /// Prepares everything and calls no engine phase. A matrix whose `Symmetric()` is true is taken for
    /// indefinite with its upper triangle stored, any other for unsymmetric. Settings at the start:
    /// NestedDissection, ComputeWhenNeeded, StoppingTolerance 1e-06, RefinementSteps 0, PivotEpsilon 1e-08 of
    /// a symmetric matrix and 1e-13 of another; matching and scaling for unsymmetric matrices only.
    /// @throws NotEnoughMemoryException
    explicit SparseSolver(const SparseMatrix& matrix);
    SparseSolver(const SparseMatrix&&) = delete; ///< the matrix would not outlive the solver

    /// @name Solving
    /// Both return new objects, owned by the caller.
    /// @{

    /// X with A*X = rhnds: A.Rows() x nrhs in, A.Cols() x nrhs out. The first column goes with the
    /// factorization, each further one is a call of its own. Checks and failures in this order; the engine's
    /// error number is told by Status().
    /// @throws SizeMismatchException     rhnds.Rows() != A.Rows(): "Matrix sizes do not match."
    /// The hardened build: @throws InvalidOperationException  "The matrix of a solver must be square."; "The
    /// only element of each row must stand on the diagonal."; "The pattern of a solver's matrix must not
    /// change after its analysis."
    /// @throws OperationFailedException  "Error during matrix analysis phase."; the next call tries again
    /// @throws NotEnoughMemoryException  for the result
    /// @throws OperationFailedException  "Error during matrix factorization and solve phase."
    /// @throws OperationFailedException  "Error during matrix solve phase."
    Matrix Solve(const Matrix& rhnds);
    /// x with A*x = rhnds, of A.Cols() elements. As above, but for the size check:
    /// @throws InvalidSizeException  rhnds.Length() != A.Rows(): "Invalid number of rows or columns."
    Vector Solve(const Vector& rhnds);
    /// @}

    /// What the solver assumes of the matrix. Writing changes that alone, not the storage of the matrix and
    /// no other setting, so the caller answers for a type that fits the arrays: PositiveDefinite and
    /// Indefinite take the upper triangle, the others all elements. Between those two it may change at
    /// any time.
    Lintrix::MatrixType MatrixType() const noexcept;
    void MatrixType(Lintrix::MatrixType value) noexcept;

    /// ComputeWhenNeeded iterates to StoppingTolerance; of a matrix that is not symmetric it is the root of
    /// what is left, see above.
    Lintrix::FactorizationStrategy FactorizationStrategy() const noexcept { return _factorizationStrategy; }
    void FactorizationStrategy(Lintrix::FactorizationStrategy value);

private:
    Lintrix::FactorizationStrategy _factorizationStrategy = FactorizationStrategy::ComputeWhenNeeded;
};

static_assert(Disposable<SparseSolver>);

} // namespace Velmar::Lintrix
