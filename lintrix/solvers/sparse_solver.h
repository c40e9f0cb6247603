#pragma once
/// @file
/// The direct solver for real sparse matrices, as a class.

#include <lintrix/foundation/capabilities.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/solvers/detail/engine_session.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <cstdint>
#include <functional>

namespace Velmar::Lintrix {

/// Solves A*x = b by sparse factorization: LU with matching and scaling, or L*D*L' of a symmetric matrix.
///
///     SparseSolver solver(A);
///     const Vector x = solver.Solve(b);
///
/// A thin front over `pardiso`. The first `Solve` analyses the pattern (fill-reducing order, structure of the
/// factors), once for the life of the solver; every `Solve` then factorizes and solves.
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
///
/// **Duties of the caller.** The hardened build raises InvalidOperationException in `Solve` where one of the
/// first three is neglected; the normal build does not look, and goes wrong as told.
/// - The pattern stays as it was analysed; only values may change. Those of another pattern are factorized as
///   if they stood in the places of the analysed ones, and fewer of them fail in the factorization. Another
///   pattern takes another solver.
/// - The matrix is square. Of another, arrays are read and written past their ends.
/// - A matrix with as many stored elements as rows is taken for a diagonal one, without analysis or factors:
///   b(i) is divided by the only element of row i, in whatever column it stands. So it must stand on the
///   diagonal. A row with more or none, or a stored zero, fails (`OtherError`) in every build.
/// - The matrix is referenced, not copied: it outlives the solver. While a call runs, its index arrays are
///   shifted in place: nobody else may read them then, and two solvers of one matrix must not run at once.
/// - Settings are not range-checked; what the engine refuses fails in `Solve`.
///
/// A solver is used by one thread at a time; the threads of a run are the engine's. The result of a run is
/// worked out beside the object: a failing `Solve` leaves the settings, and the next one may succeed.
class LINTRIX_EXPORT SparseSolver {
public:
    /// @name Construction
    /// @{

    /// Prepares everything and calls no engine phase. A matrix whose `Symmetric()` is true is taken for
    /// indefinite with its upper triangle stored, any other for unsymmetric. Settings at the start:
    /// NestedDissection, ComputeWhenNeeded, StoppingTolerance 1e-06, RefinementSteps 0, PivotEpsilon 1e-08 of
    /// a symmetric matrix and 1e-13 of another; matching and scaling for unsymmetric matrices only.
    /// @throws NotEnoughMemoryException
    explicit SparseSolver(const SparseMatrix& matrix);
    SparseSolver(const SparseMatrix&&) = delete; ///< the matrix would not outlive the solver
    /// Takes handle and factors over and leaves the source released.
    SparseSolver(SparseSolver&&) noexcept;
    /// Takes handle and factors over and leaves the source released.
    SparseSolver& operator=(SparseSolver&&) noexcept;
    ~SparseSolver();
    /// @}

    /// @name Solving
    /// Both return new objects, owned by the caller. After release these and all writing of settings raise
    /// InvalidOperationException; type, tolerances, strategy and state of the last run can still be read.
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

    /// How the last run ended: the engine's error number e as -e, below -5 `OtherError`; `Success` before the
    /// first run. A positive e, which the engine has for enquiries alone, gives a value that no name stands
    /// for.
    SolverStatus Status() const noexcept;
    /// @}

    /// @name Settings
    /// Changes count from the next `Solve` on, those of the ordering until the analysis has run.
    /// @{

    Lintrix::FillInReducingMethod FillInReducingMethod() const;
    void FillInReducingMethod(Lintrix::FillInReducingMethod value);

    /// What the solver assumes of the matrix. Writing changes that alone, not the storage of the matrix and
    /// no other setting, so the caller answers for a type that fits the arrays: PositiveDefinite and
    /// Indefinite take the upper triangle, the others all elements. Between those two it may change at
    /// any time.
    Lintrix::MatrixType MatrixType() const noexcept;
    void MatrixType(Lintrix::MatrixType value) noexcept;

    Lintrix::FactorizationStrategy FactorizationStrategy() const noexcept { return _factorizationStrategy; }
    void FactorizationStrategy(Lintrix::FactorizationStrategy value);

    /// At which the iteration of ComputeWhenNeeded stops, rounded to a power of ten; 0 is the engine's 1e-12.
    /// Of a matrix that is not symmetric it is the root of what is left, see above.
    double StoppingTolerance() const noexcept { return _stoppingTolerance; }
    void StoppingTolerance(double value);

    /// min(value, 0) is kept: a positive count becomes 0, which leaves refinement to the engine (two steps
    /// after perturbed pivots), and -k asks for at most k steps with residuals in extended precision. Callers
    /// read back 0 after a positive count, so it stays. Iterations are not refined, only direct solutions.
    std::int32_t RefinementSteps() const;
    void RefinementSteps(std::int32_t value);

    /// Pivots below this, rounded to a power of ten, are replaced by it.
    double PivotEpsilon() const noexcept { return _pivotEpsilon; }
    void PivotEpsilon(double value);
    /// @}

    /// @name Progress
    /// Beside the interface of the class.
    /// @{

    /// Is given the percentage of the factorization, from 0 to 100 and rising; false stops it. It is called
    /// by one thread at a time, which may be one of the engine's, so it must not wait for the caller of
    /// `Solve` nor use the solver.
    using ProgressFunction = std::function<bool(int percent)>;

    /// From the next `Solve` on `listener` is told; an empty one ends it. After a stop `Solve` fails as for
    /// any error in that phase, with `Stopped()` true, and the next one factorizes anew. What the listener
    /// throws stops the run too, and is thrown on by `Solve`.
    void Progress(ProgressFunction listener) noexcept;
    /// Whether the listener ended the last run.
    bool Stopped() const noexcept;
    /// @}

    /// Releases the factors and all else at once, not the matrix; may be repeated.
    void Dispose() noexcept;

private:
    void Compute4(Lintrix::FactorizationStrategy strategy, double tolerance);
    void refresh();
    void requireDuties() const;
    void analyse(const double* b);
    void factorizeAndSolve(const double* b, double* x);
    void solve(const double* b, double* x);

    const SparseMatrix* m; ///< not owned
    detail::EngineSession session_;
    bool sym;                           ///< `m.Symmetric()` when the solver was made
    bool analysis = false;              ///< the analysis phase has run
    std::uint32_t analysedPattern_ = 0; ///< its check sum, in the hardened build
    Lintrix::FactorizationStrategy _factorizationStrategy = FactorizationStrategy::ComputeWhenNeeded;
    double _stoppingTolerance = 1e-06;
    double _pivotEpsilon;
};

static_assert(Disposable<SparseSolver>);

} // namespace Velmar::Lintrix
