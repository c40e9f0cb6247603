#pragma once
/// @file
/// What the solvers of real and of complex sparse matrices share.

#include <lintrix/foundation/capabilities.h>
#include <lintrix/foundation/enumerations.h>
#include <lintrix/solvers/detail/engine_session.h>
#include <lintrix/sparse/compressed_matrix.h>

#include <cstdint>
#include <functional>

namespace Velmar::Lintrix::detail {

/// The engine's numbers for what a solver may assume of matrices with cells of one kind.
struct EngineTypes {
    std::int32_t structurallySymmetric, positiveDefinite, indefinite, unsymmetric;

    std::int32_t of(MatrixType type) const noexcept;
};

/// Solves A*x = b by sparse factorization, `pardiso` working. The first `Solve` analyses the pattern
/// (fill-reducing order, structure of the factors), once for the life of the solver; every `Solve` then
/// factorizes and solves.
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
template <class Cell>
class LINTRIX_EXPORT DirectSolver {
public:
    using S = SparseOf<Cell>;
    using M = MatrixOf<Cell>;
    using V = VectorOf<Cell>;

    /// Takes handle and factors over and leaves the source released.
    DirectSolver(DirectSolver&&) noexcept;
    /// Takes handle and factors over and leaves the source released.
    DirectSolver& operator=(DirectSolver&&) noexcept;

    /// How the last run ended: the engine's error number e as -e, below -5 `OtherError`; `Success` before the
    /// first run. A positive e, which the engine has for enquiries alone, gives a value that no name stands
    /// for.
    SolverStatus Status() const noexcept;

    /// @name Settings
    /// Changes count from the next `Solve` on, those of the ordering until the analysis has run.
    /// @{

    Lintrix::FillInReducingMethod FillInReducingMethod() const;
    void FillInReducingMethod(Lintrix::FillInReducingMethod value);

    /// At which an iteration with earlier factors stops, rounded to a power of ten; 0 is the engine's 1e-12.
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

    /// Releases the factors and all else at once, not the matrix; may be repeated. Afterwards `Solve` and all
    /// writing of settings raise InvalidOperationException; type, tolerances, strategy and state of the last
    /// run can still be read.
    void Dispose() noexcept;

protected:
    static constexpr std::int32_t kAnalysis = 11, kFactorizationAndSolve = 23, kSolve = 33;

    /// Calls no engine phase. `oneTriangle`: the matrix holds its upper triangle.
    DirectSolver(const S& matrix, bool oneTriangle, const EngineTypes& types, std::int32_t threads);
    ~DirectSolver();

    /// Hands the matrix over as it stands now, and has its pattern analysed if that has not been done. The
    /// engine looks at no right-hand side then, but gets the first.
    void analyse(const Cell* b);
    /// The solutions of all columns, the first with the factorization, each further one by a call of its own.
    M solutionsOf(const M& rhnds, const char* furtherColumnFailed);
    V solutionOf(const V& rhnds);

    /// Slot 4, 10*L + K: K chooses between a direct solve (0) and an iteration with the stored factors (1
    /// unsymmetric, 2 symmetric), which stops at 10^-L.
    void Compute4(std::uint32_t K, double tolerance);

    const S* m; ///< not owned
    EngineSession session_;
    std::int32_t phase = kAnalysis; ///< a record only
    bool sym;                       ///< `oneTriangle`

private:
    void requireDuties() const;
    void factorizeAndSolve(const Cell* b, Cell* x);

    bool analysis = false;              ///< the analysis phase has run
    std::uint32_t analysedPattern_ = 0; ///< its check sum, in the hardened build
    std::uint32_t K_ = 0;
    double _stoppingTolerance = 1e-06;
    double _pivotEpsilon;
};

extern template class DirectSolver<double>;
extern template class DirectSolver<Complex>;

} // namespace Velmar::Lintrix::detail
