#pragma once
/// @file
/// A linear system, solved by whatever road leads to a solution, and how far that can be trusted.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/foundation/transposition.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/factor_seconds.h>
#include <lintrix/systems/matrix_faults.h>
#include <lintrix/systems/system_matrix.h>
#include <lintrix/systems/system_options.h>
#include <lintrix/systems/verdict.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {
template <class Cell>
class SystemSession;
}

/// What a solve found, and how good it is.
template <class Cell>
struct LINTRIX_EXPORT SystemAnswer {
    Verdict verdict = Verdict::Failed;         ///< of the worst right-hand side
    std::optional<detail::MatrixOf<Cell>> x{}; ///< n x nrhs; none where no road led to any
    std::string reason{};                      ///< of a verdict other than Accurate, in a few words
    std::string complaint{};                   ///< of Failed, as the end of a sentence

    MatrixFaults faults{}; ///< of a singular matrix, by its rows and columns
    /// Of a singular square matrix, as far as that is known. Where a sparse one has many, `x` is the shortest
    /// or, where too many directions are sent to zero to find them all, one of them, and called degraded; a
    /// dense one stays Failed. Where there is none, the verdict is Failed.
    std::optional<Solutions> solutions{};

    /// The largest over the right-hand sides of ||b - A*x|| / (||A|| ||x|| + ||b||), infinity norms.
    std::optional<double> residual{};
    /// Of a tall system, whose residual is large by nature where b is not in the range of A: the same for the
    /// normal equations, ||A^H*r|| / (||A^H|| (||A|| ||x|| + ||b||)) with r = b - A*x; of a sparse one, tall
    /// or wide, ||A^H*r|| / (||A|| ||r||), Euclidean norms, or 0 where r is rounding.
    std::optional<double> normalResidual{};
    /// The relative error with which a known solution came back that was solved for beside the others, or at
    /// the factorization.
    std::optional<double> probeError{};
    std::optional<double> knownError{}; ///< of `x` itself, where it was known beforehand

    /// ||A||_1 ||A^-1||_1 of a square matrix, estimated through the factor, from below, seldom by less than a
    /// third; where pivots were replaced, of the matrix that was factorized. None where error bounds were not
    /// asked for (`SystemOptions::errorBounds`), or where the factor is in files.
    std::optional<double> condition{};

    /// Of a square matrix that is symmetric or Hermitian, whichever road was taken; else, and where error
    /// bounds were not asked for, or the factor is in files, none. Of a dense one by factors made for it,
    /// where that takes milliseconds or is asked for. Where the factor at hand leaves any sign uncertain,
    /// matrices shifted by a little are factorized, if that takes milliseconds or is asked for
    /// (`SystemOptions::certainInertia`), and has room in memory beside the factor.
    std::optional<CertainInertia> inertia{};

    std::vector<ColumnQuality> columns{}; ///< one a right-hand side

    std::string_view road = "";                     ///< "sparse Cholesky", "sparse LU with matching", ...
    std::optional<FillInReducingMethod> ordering{}; ///< none of a dense factor, or where there is none
    std::vector<std::string> tried{};               ///< "ROAD: why it was left", of the other roads
    std::int32_t perturbedPivots = 0, refinementSteps = 0;
    /// Of GMRES, where it made good for replaced pivots or for a factor of earlier values.
    std::int32_t krylovSteps = 0;
    bool reusedFactor = false;      ///< that of earlier values, as a preconditioner
    std::int64_t factorEntries = 0; ///< of L and U together
    FactorStore store = FactorStore::Memory;
    int coreMegabytes = 0; ///< that are used beside a factor in files

    /// All of it for people, in a few lines: the verdict, what it rests on, what was tried, what to do. Rows
    /// and columns are counted from `firstIndex`: 0 as in the classes, 1 as in files.
    std::string Explain(std::int32_t firstIndex = 0) const;
};

/// What a factorization is going to take, before any number is computed.
struct SystemForecast {
    std::int64_t factorEntries = 0; ///< of L, diagonal included
    double operations = 0.0;        ///< of the factorization
    double bytesInMemory = 0.0;     ///< of analysis, factor and solve in all
    double bytesWithFiles =
        0.0;                 ///< of memory at least, with the factor in files; as above where it cannot be
    FactorSeconds seconds{}; ///< of the factorization in memory and of a solve, by rates that are measured
};

/// What `LinearSystem::Update` found changed.
enum class SystemChange {
    None,    ///< the factor stands
    Values,  ///< the pattern is the same: the analysis stands as long as it suits, the next solve factorizes
    Pattern, ///< it is another, or the values suggest another road: everything is done anew
};

/// op(A)*X = B: with a square sparse A by the sparse direct solver or, where that finds no way, in dense
/// storage; with another sparse A in the least-squares sense or with smallest norm, never in dense storage;
/// with a dense A of any shape.
///
///     LinearSystem system(A);
///     const auto answer = system.Solve(b);
///     if (answer.verdict != Verdict::Accurate) std::cerr << answer.Explain();
///
/// **Roads.** The values of A suggest the first one: Cholesky, L*D*L', LU along the diagonal, LU with
/// matching and scaling; sparse LU with partial pivoting in place of either LU, where the caller asks for
/// neither type nor order nor files, and an analysis finds little to eliminate. Whatever it returns is
/// measured, and so is a right-hand side of its own whose solution is known (the probe): where few digits
/// come back, or the residual is above rounding level, the other order of elimination is taken, then the next
/// stronger road, at last sparse LU with partial pivoting and LU in dense storage. The forecast of each is
/// held against what was already done, so that none runs away. The best answer of all counts, with the road
/// that it came from; its factor is kept for the next solve. Where that has replaced pivots and is not
/// accurate, GMRES with the factor for a preconditioner is tried on it.
///
/// **Not square.** A dense system goes by QR, of a wide matrix by that of its adjoint; a sparse one by the
/// factor of the normal equations, by the augmented system, or by LSMR, as the forecast and the measured
/// residuals tell. Where the matrix has full rank and a factor, x is refined together with the residual, in
/// twice the working precision (Bjorck, BIT 7 (1967)), and what its last correction leaves bounds its error.
/// Of a sparse matrix that has not full rank the shortest of all solutions is returned, and called degraded;
/// of a dense one none.
///
/// **Verdicts.** Of each right-hand side of a square system the backward errors are worked out from a
/// residual in twice the working precision, and the error is bounded by the way of the expert drivers
/// (Arioli, Demmel, Duff, SIAM J. Matrix Anal. Appl. 10 (1989)), the inverse being estimated through the
/// factor (Higham, Tisseur, SIAM J. Matrix Anal. Appl. 21 (2000)). The larger of this bound and of the
/// probe's error decides. The probe, and the right-hand sides, are in units of their own, so that the units
/// of equations and unknowns decide nothing, unless A and its inverse together leave the range of a double;
/// and where the largest unknowns have come back, but no digit of a smaller one, the best is Degraded.
///
/// **Phases.** `Forecast` analyses, `Factorize` makes the factor, `Solve` does what is still missing.
/// `Update` brings other values or another pattern and repeats no more than it must.
///
/// **Failures** are told by the verdict as long as they are the matrix's. Raised are the caller's and the
/// system's: sizes, memory, files, and the end of a phase that `RunLimits` ask for: OperationFailedException
/// with "The operation was stopped." or "The deadline has passed.". After any of them the object is as before
/// the phase and can be used again; a factor that stood before is kept, or made anew by the next solve where
/// it had been given up for another road.
///
/// **Threads.** Several may call the same object. Once a sparse factor in memory serves, they solve at the
/// same time; else they take turns.
template <class Cell>
class LINTRIX_EXPORT LinearSystem {
public:
    using Sparse = detail::SparseOf<Cell>;
    using M = detail::MatrixOf<Cell>;
    using V = detail::VectorOf<Cell>;

    /// Takes a copy, or the matrix itself if it is given up; no number is computed. A real one may store its
    /// upper triangle alone (`Symmetric`), and so may a complex one (`Hermitian`).
    /// @throws ArgumentException         it is square, and `options.type` contradicts the values
    /// @throws NotEnoughMemoryException
    explicit LinearSystem(const Sparse& A, SystemOptions options = {});
    explicit LinearSystem(Sparse&& A, SystemOptions options = {});
    /// Takes a dense matrix of any shape: square by LU, whose factor is kept and serves every op; tall in the
    /// least-squares sense by QR, wide with smallest norm by LQ, anew in each solve.
    explicit LinearSystem(M A, SystemOptions options = {});

    /// A system that `Save` has written, as it was; `options` are given anew. Nothing is analysed or
    /// factorized: the first solve is by the factor that was saved, and gives bit for bit what that system
    /// would have given with as many threads. Cost: reading the file, and a few passes over the matrix.
    /// @throws SerializationException    the file is damaged, cut off, of another version, byte order or kind
    ///                                   of cells: "Saved system, section 'rows', byte 4711: ..."
    /// @throws OperationFailedException  it cannot be opened or read: "'PATH' could not be opened."
    /// @throws ArgumentException         as the constructor
    /// @throws NotEnoughMemoryException
    static LinearSystem Load(const std::string& path, SystemOptions options = {});

    LinearSystem(LinearSystem&&) noexcept;
    LinearSystem& operator=(LinearSystem&&) noexcept;
    ~LinearSystem();

    std::int32_t Rows() const noexcept;
    std::int32_t Cols() const noexcept;
    /// What the values of a sparse matrix tell before anything is factorized; nothing of a dense one.
    /// Good until the next `Update`.
    const MatrixTraits& Traits() const noexcept;

    /// Of the first road, for one right-hand side. Cost: an analysis, or two where the order is in question;
    /// a solve of one right-hand side uses it. @throws NotEnoughMemoryException
    SystemForecast Forecast();
    /// The factor by the best road, found with the probe alone. @return  its verdict on the factor
    Verdict Factorize();

    /// X with op(A)*X = B. Checks, in this order:
    /// @throws SizeMismatchException     B has not as many rows as op(A): "Matrix sizes do not match."
    /// @throws NotSupportedException     B or x, with one column more, would have more than 2147483647
    /// elements,
    ///                                   as a text with the sizes tells
    /// @throws NotEnoughMemoryException  there is no room for the first factor
    /// @throws OperationFailedException  the files of a factor fail, in words, or the memory budget is too
    /// small:
    ///                                   then it says what the system takes, in memory and with files
    SystemAnswer<Cell> Solve(const M& B, TransposeMode op = TransposeMode::NotTransposed);
    SystemAnswer<Cell> Solve(const V& b, TransposeMode op = TransposeMode::NotTransposed);
    /// The same for B = op(A)*`known`: how well does the solution come back that is known?
    /// @throws SizeMismatchException  `known` has not as many rows as op(A) columns
    SystemAnswer<Cell> SolveKnown(const M& known, TransposeMode op = TransposeMode::NotTransposed);

    /// Of the phases that begin from now on; a deadline is mostly one phase's own. Waiting for another
    /// thread's turn is not limited.
    void Limits(const RunLimits& limits);

    /// Goes on with `A` in place of the matrix before, and tells what has changed. The size may change.
    /// Matrices are compared, not their storage: one triangle is the same as both. Where a solve with other
    /// values is not accurate by the matching of earlier ones, it searches the roads anew, once, which counts
    /// as an analysis, and `SystemAnswer::tried` tells it.
    /// Cost: a copy, and a few passes over the entries.
    /// @throws InvalidOperationException  the system is not square and sparse: "Only square sparse systems
    /// can be
    ///                                    updated."
    /// @throws NotSquareMatrixException   `A` is not: "Matrix is not square."
    /// @throws as the constructor; then the matrix before stands
    SystemChange Update(const Sparse& A);

    /// Writes matrix, analysis and factor, as far as they are made, to a file that `Load` reads:
    /// docs/saved_system_format.md. What stood at `path` stands there until all is written. Other threads may
    /// solve meanwhile.
    /// @throws InvalidOperationException  the system is not square and sparse: "Only square sparse systems
    /// can
    ///                                    be saved."; its factor is in files: "The factor of this system
    ///                                    cannot be saved."
    /// @throws OperationFailedException   the file could not be written: "The system could not be saved to
    ///                                    'PATH'."
    void Save(const std::string& path) const;

    std::int32_t Analyses() const;       ///< since the construction
    std::int32_t Factorizations() const; ///< likewise

private:
    explicit LinearSystem(std::unique_ptr<detail::SystemSession<Cell>> session);

    std::unique_ptr<detail::SystemSession<Cell>> session_;
};

LinearSystem(SparseMatrix)->LinearSystem<double>;
LinearSystem(SparseMatrix, SystemOptions)->LinearSystem<double>;
LinearSystem(CSparseMatrix)->LinearSystem<std::complex<double>>;
LinearSystem(CSparseMatrix, SystemOptions)->LinearSystem<std::complex<double>>;
LinearSystem(Matrix)->LinearSystem<double>;
LinearSystem(Matrix, SystemOptions)->LinearSystem<double>;
LinearSystem(CMatrix)->LinearSystem<std::complex<double>>;
LinearSystem(CMatrix, SystemOptions)->LinearSystem<std::complex<double>>;

} // namespace Velmar::Lintrix
