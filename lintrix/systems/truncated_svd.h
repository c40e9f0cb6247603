#pragma once
/// @file
/// The largest singular values of a sparse matrix with their vectors, within bounded memory, and whether none
/// was passed over.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/system_options.h>

#include <complex>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace Velmar::Lintrix {

namespace detail {
template <class Cell>
class SvdMatrix;
}

/// Whether all that was asked for meets the tolerance.
enum class TripletsOutcome {
    Converged,
    NotConverged, ///< some do not: `TruncatedSVD::Residuals` tells which
    NotFinite,    ///< the matrix holds a NaN or an infinity; nothing was computed, and all results are NaN
};

/// Whether a larger singular value than the last one may have been passed over.
enum class TripletsCertainty {
    NotAsked,
    Certain,   ///< none was
    Missed,    ///< one was, and it was not found either
    Undecided, ///< `TripletsCertificate::reason` tells why
};

/// "converged", "not converged", "not finite".
LINTRIX_EXPORT std::string_view NameOf(TripletsOutcome outcome) noexcept;
/// "not asked", "certain", "missed", "undecided".
LINTRIX_EXPORT std::string_view NameOf(TripletsCertainty certainty) noexcept;

/// What the inertia of the augmented matrix tells of the singular values.
struct TripletsCertificate {
    TripletsCertainty certainty = TripletsCertainty::NotAsked;
    double bound = 0.0;           ///< singular values above it were counted; 0 where none was asked
    std::int32_t above = 0;       ///< so many there are, with multiplicities
    std::int32_t recovered = 0;   ///< of these had been passed over at first, and were then found
    std::string_view reason = ""; ///< of Undecided, in a few words
};

struct TruncatedSvdOptions {
    double tolerance = 1e-10; ///< of both residuals of a triplet, relative to the largest value
    /// Vectors of a basis at most, on each side; 0: what serves. At least count + block + 1 are taken, and no
    /// more than the smaller side of the matrix.
    std::int32_t basis = 0;
    /// Vectors of a step. A value that is so many times multiple is found by rule, a larger multiplicity by
    /// rounding, or by the certificate.
    std::int32_t block = 1;
    std::int32_t restarts = 1000; ///< at most
    /// Bytes that may be taken besides the matrix itself; none: what the machine leaves. The basis becomes
    /// smaller, and no copies are made for the products, where that keeps within them.
    std::optional<double> memoryBudget{};
    std::uint64_t seed = 17; ///< of the start vectors: equal ones give equal runs
    /// By bidiagonalization, in which all left vectors are reorthogonalized, too.
    bool fullReorthogonalization = false;
    bool certify = false;                ///< proves that nothing was passed over; takes a factorization
    double certificateOperations = 2e10; ///< that it may take at most
    RunLimits limits{};
    /// Is told how many operations are done, and how many there are in all as far as that is known: they grow
    /// with each restart.
    std::function<void(double done, double all)> progress{};
    /// Is told of each restart how many of the wanted triplets have converged, by estimate.
    std::function<void(std::int32_t restart, std::int32_t converged)> restarted{};
};

/// A*V = U*diag(S): the `count` largest singular values of a sparse A with their vectors, by Lanczos
/// processes with thick restarts: of A^H*A, or A*A^H where that is smaller, for single vectors whose values
/// are large enough for it (some 1e-4 of the first one at the usual tolerance), else by block
/// bidiagonalization of A.
///
///     const TruncatedSVD svd(A, 20, {.certify = true});
///     if (svd.Outcome() != TripletsOutcome::Converged) ...
///
/// **Residuals.** Both ||A*v - s*u|| and ||A^H*u - s*v|| are measured by products with A, after the fact, and
/// the larger one is held against tolerance*S[0]. Where the method believes to have converged and the measure
/// does not agree, it goes on.
///
/// **Multiple values.** A Krylov space holds as many vectors of a multiple value as a block has; the others
/// come in by rounding, or by a few steps from a random vector beside the triplets that have converged,
/// mostly but not always. `certify` counts the values above a bound a little below the last one by the
/// inertia of [s*I A; A^H s*I], looks for those that are missing with a wider block beside the triplets that
/// stand, and tells what it is sure of.
///
/// **Any matrix.** Of a zero matrix, of count above the rank, and of count = min(m, n) all triplets come,
/// with orthonormal vectors and zeros for values. A matrix that is marked `Symmetric` (`Hermitian`) is read
/// as the full one.
///
/// **Memory.** A basis of min(m, n)*basis cells, or bases of (m + n)*(basis + 2*block), the triplets
/// themselves, small matrices of about 12*basis^2, and, where there is room, copies of A^H and A in slices of
/// rows, by which both products are fast and run on all threads: together twice the matrix and the padding of
/// short rows beside longer ones. Of a matrix whose largest element is beyond 2^400 or below
/// 2^-400 a copy in other units.
///
/// A finished object may be read from several threads.
template <class Cell>
class LINTRIX_EXPORT TruncatedSVD {
public:
    using Sparse = detail::SparseOf<Cell>;
    using M = detail::MatrixOf<Cell>;
    using V_ = detail::VectorOf<Cell>;

    /// All work is done here; the matrix is read and not referred to afterwards. Checks, in this order:
    /// @throws InvalidSizeException      count is below 1 or above min(m, n): "Invalid number of rows or
    ///                                   columns."
    /// @throws ArgumentOutOfRangeException  an option is out of its range, or no number: the tolerance must
    /// be
    ///                                   above 0, the block at least 1; basis, restarts, the memory budget
    ///                                   and the operations of the certificate must not be below 0
    /// @throws OperationFailedException  the memory budget is too small: "The memory budget is too small.";
    ///                                   the limits ask for the end: "The operation was stopped." or "The
    ///                                   deadline has passed."
    /// @throws NotEnoughMemoryException  nothing leaks
    TruncatedSVD(const Sparse& A, std::int32_t count, const TruncatedSvdOptions& options = {});
    /// The same from a guess of the first right singular vector, or of a sum of several; of any length, and
    /// of a zero vector as without a guess. Checked behind the options:
    /// @throws SizeMismatchException     `start` has not as many elements as A columns: "Matrix sizes do not
    ///                                   match."
    /// @throws ArgumentException         it has an element that is no number, or infinite: "The start vector
    ///                                   is not finite."
    TruncatedSVD(const Sparse& A, std::int32_t count, const V_& start,
                 const TruncatedSvdOptions& options = {});

    const M& U() const noexcept { return U_; }           ///< m x count, orthonormal columns
    const M& V() const noexcept { return right_; }       ///< n x count, orthonormal columns
    const Vector& S() const noexcept { return values_; } ///< count values, largest first

    TripletsOutcome Outcome() const noexcept { return outcome_; }
    const TripletsCertificate& Certificate() const noexcept { return certificate_; }
    /// Of each triplet the larger residual, relative to the largest value (of a zero matrix as it is).
    const std::vector<double>& Residuals() const noexcept { return residuals_; }
    std::int32_t Converged() const noexcept; ///< triplets within the tolerance
    std::int32_t Restarts() const noexcept { return restarts_; }
    std::int64_t Products() const noexcept { return products_; } ///< of A or A^H with a vector
    std::int32_t Basis() const noexcept { return basis_; }       ///< vectors, at most

private:
    void compute(const Sparse& A, std::int32_t count, const V_* start, const TruncatedSvdOptions& options);
    void search(const detail::SvdMatrix<Cell>& matrix, std::int32_t count, double bytes, const V_* start,
                const TruncatedSvdOptions& options);
    void multiply(int exponent);
    void fillWithNaN(std::int32_t rows, std::int32_t cols, std::int32_t count);

    M U_, right_;
    Vector values_;
    std::vector<double> residuals_;
    double tolerance_;
    TripletsOutcome outcome_ = TripletsOutcome::NotFinite;
    TripletsCertificate certificate_{};
    std::int32_t restarts_ = 0, basis_ = 0;
    std::int64_t products_ = 0;
};

TruncatedSVD(SparseMatrix, std::int32_t)->TruncatedSVD<double>;
TruncatedSVD(SparseMatrix, std::int32_t, TruncatedSvdOptions)->TruncatedSVD<double>;
TruncatedSVD(CSparseMatrix, std::int32_t)->TruncatedSVD<std::complex<double>>;
TruncatedSVD(CSparseMatrix, std::int32_t, TruncatedSvdOptions)->TruncatedSVD<std::complex<double>>;

} // namespace Velmar::Lintrix
