#pragma once
/// @file
/// Singular value decomposition.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>

#include <cstdint>
#include <optional>

namespace Velmar::Lintrix {

/// A = U*S*VH by divide and conquer (`dgesdd`; Gu and Eisenstat, SIAM Journal on Matrix Analysis and
/// Applications 16, 1995), in a thin form or for the singular values alone.
///
/// A is m x n, of any shape. Works on a private copy, once, in the constructor; after that the object does
/// not change. No convergence is a state, not a failure: see Succeeded(); all members then show what the
/// routine left. Members that need vectors are empty in the form without them. Any member may raise
/// NotEnoughMemoryException with its default message. A finished object may be read from several threads.
/// Memory: m*m + n*n cells for the vectors, and while the constructor runs about 7*min(m, n)^2 cells more.
class LINTRIX_EXPORT SVD {
public:
    /// With vectors.
    explicit SVD(const Matrix& matrix) : SVD(matrix, false) {}
    SVD(const Matrix& matrix, bool singularValuesOnly);
    SVD(SVD&&) noexcept = default;
    SVD& operator=(SVD&&) noexcept = default;

    /// True exactly when A is finite and the iteration converged. A matrix with a NaN or an infinity is not
    /// given to the routine, which need not come to an end on it: its singular values and vectors are zero.
    bool Succeeded() const noexcept { return inf == 0; }

    /// m x min(m, n), orthonormal columns.
    std::optional<Matrix> U() const;
    /// Diagonal: n x n when m >= n, else m x n.
    Matrix S() const;
    /// min(m, n) values, largest first.
    Vector SingularValues() const;
    /// @throws IndexOutOfBoundsException  "Row or column index exceeds matrix size."
    double SingularValue(std::int32_t index) const;
    /// n x n; the first min(m, n) rows are orthonormal, the others zero.
    std::optional<Matrix> VH() const;
    /// The transpose of VH.
    std::optional<Matrix> V() const;

    /// n x m: the inverse of A on its range, singular values below |tolerance| taken as 0. One equal to it is
    /// inverted, though `Rank` does not count it: a caller who passes a singular value keeps that one. So the
    /// zero matrix, whose default tolerance is 0, gives NaNs. Without a tolerance: max(m, n)*s[0]*2^-52.
    std::optional<Matrix> PseudoInverse() const;
    std::optional<Matrix> PseudoInverse(double tolerance) const;

    /// How many singular values are greater than |tolerance|; one equal to it does not count. Without a
    /// tolerance: max(m, n)*s[0]*2^-52.
    std::int32_t Rank() const;
    std::int32_t Rank(double tolerance) const;

    /// Releases the buffers at once; may be repeated.
    void Dispose() noexcept;

private:
    const double* values() const;
    std::int32_t smallerSide() const noexcept { return mRows < mCols ? mRows : mCols; }
    double defaultTolerance() const;

    std::int32_t mRows;
    std::int32_t mCols;
    std::int32_t mCells;
    std::int32_t inf = 0;     ///< what dgesdd returned
    detail::Block<double> s;  ///< min(m, n) singular values, largest first
    detail::Block<double> u;  ///< m*m cells, of which the first min(m, n) columns are written; or empty
    detail::Block<double> vt; ///< n*n cells, of which the first min(m, n) rows are written; or empty
};

static_assert(Disposable<SVD>);

} // namespace Velmar::Lintrix
