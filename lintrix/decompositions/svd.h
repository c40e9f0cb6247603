#pragma once
/// @file
/// Singular value decomposition, real (`SVD`) and complex (`CSVD`): the decompositions are twins; what they
/// say of one that failed is not.

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix {

namespace detail {

/// A = U*S*VH by divide and conquer (`dgesdd`, `zgesdd`; Gu and Eisenstat, SIAM Journal on Matrix Analysis
/// and Applications 16, 1995), in a thin form or for the singular values alone.
///
/// A is m x n, of any shape. Works on a private copy, once, in the constructor; after that the object does
/// not change. No convergence is a state, not a failure: see Succeeded(); what is told here then shows what
/// the routine left. Members that need vectors are empty in the form without them. Any member may raise
/// NotEnoughMemoryException with its default message. A finished object may be read from several threads.
/// Memory: m*m + n*n cells for the vectors, and while the constructor runs about 7*min(m, n)^2 numbers more.
template <class Cell>
class LINTRIX_EXPORT SvdFactors {
public:
    using M = MatrixOf<Cell>;

    /// With vectors, unless `singularValuesOnly`.
    explicit SvdFactors(const M& matrix, bool singularValuesOnly = false);
    SvdFactors(SvdFactors&&) noexcept = default;
    SvdFactors& operator=(SvdFactors&&) noexcept = default;

    /// True exactly when A is finite and the iteration converged. A matrix with a NaN or an infinity is not
    /// given to the routine, which need not come to an end on it: its singular values and vectors are zero.
    bool Succeeded() const noexcept { return inf == 0; }

    /// m x min(m, n), orthonormal columns.
    std::optional<M> U() const;
    /// Diagonal, real: n x n when m >= n, else m x n.
    Matrix S() const;
    /// min(m, n) values, largest first.
    Vector SingularValues() const;
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    double SingularValue(std::int32_t index) const;
    /// n x n; the first min(m, n) rows are orthonormal, the others zero.
    std::optional<M> VH() const;
    /// The transpose of VH, of complex cells the conjugate one.
    std::optional<M> V() const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

protected:
    ~SvdFactors() = default;

    bool hasVectors() const;
    /// max(m, n)*s[0]*2^-52
    double defaultTolerance() const;
    /// The inverse of A on its range; not asked for without vectors.
    M invertedOnRange(double tolerance) const;
    std::int32_t countAbove(double tolerance) const;

private:
    const double* values() const;
    std::int32_t smallerSide() const noexcept { return mRows < mCols ? mRows : mCols; }

    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    std::int32_t inf = 0; ///< what gesdd returned
    Block<double> s;      ///< min(m, n) singular values, largest first
    Block<Cell> u;        ///< m*m cells, of which the first min(m, n) columns are written; or empty
    Block<Cell> vt;       ///< n*n cells, of which the first min(m, n) rows are written; or empty
};

extern template class SvdFactors<double>;
extern template class SvdFactors<Complex>;

} // namespace detail

/// A = U*S*VH of a real matrix. Rank and pseudo-inverse do not look whether it has succeeded.
class LINTRIX_EXPORT SVD : public detail::SvdFactors<double> {
public:
    using SvdFactors::SvdFactors;

    /// n x m: the inverse of A on its range, singular values below |tolerance| taken as 0; empty without
    /// vectors. One equal to it is inverted, though `Rank` does not count it: a caller who passes a singular
    /// value keeps that one. So the zero matrix, whose default tolerance is 0, gives NaNs. Without a
    /// tolerance: max(m, n)*s[0]*2^-52.
    std::optional<Matrix> PseudoInverse() const;
    std::optional<Matrix> PseudoInverse(double tolerance) const;

    /// How many singular values are greater than |tolerance|; one equal to it does not count. Without a
    /// tolerance: max(m, n)*s[0]*2^-52.
    std::int32_t Rank() const { return Rank(defaultTolerance()); }
    std::int32_t Rank(double tolerance) const { return countAbove(tolerance); }
};

/// A = U*S*VH of a complex matrix.
class LINTRIX_EXPORT CSVD : public detail::SvdFactors<Complex> {
public:
    using SvdFactors::SvdFactors;

    /// As those of `SVD`, and empty also when not Succeeded().
    std::optional<CMatrix> PseudoInverse() const;
    std::optional<CMatrix> PseudoInverse(double tolerance) const;

    /// As those of `SVD`, and 0 when not Succeeded().
    std::int32_t Rank() const { return Succeeded() ? countAbove(defaultTolerance()) : 0; }
    std::int32_t Rank(double tolerance) const { return Succeeded() ? countAbove(tolerance) : 0; }
};

static_assert(Disposable<SVD> && Disposable<CSVD>);

} // namespace Velmar::Lintrix
