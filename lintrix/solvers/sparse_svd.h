#pragma once
/// @file
/// Truncated singular value decomposition of a sparse matrix.

#include <lintrix/dense/matrix.h>
#include <lintrix/dense/vector.h>
#include <lintrix/foundation/capabilities.h>
#include <lintrix/solvers/lanczos_observer.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <cstdint>

namespace Velmar::Lintrix {

/// The largest singular values of a SparseMatrix with their left and right singular vectors: A*V = U*diag(S).
///
/// All work is done by `DoLan` in the constructor; the object then holds the results. The matrix is read
/// there and not referred to afterwards. A finished object may be read from several threads.
///
/// A multiple singular value may be found once only, since a Krylov space holds one vector of each; then the
/// value of the next size takes its place.
///
/// Limits: a zero or not finite matrix gives NaNs; more values than the rank has, or a tolerance out of
/// reach, may go on until memory fails (see DoLan). An observer can watch the passes and stop.
class LINTRIX_EXPORT SparseSVD {
public:
    /// The `numSingularValues` (nsv) largest, at most min(m, n) of them, until the last of them satisfies
    /// ||v - A'*u/s|| <= max(|tolerance|, 1e-14). Neither the tolerance nor the relation of nsv to the
    /// matrix is checked, so an nsv above min(m, n) is undefined behaviour and a tolerance out of reach a run
    /// without end; the hardened build raises at both.
    /// @throws InvalidSizeException  "Invalid number of rows or columns.": nsv below 1 or above MaxSize
    /// @throws InvalidOperationException  the matrix has been released; in the hardened build also at each
    /// limit
    /// @throws NotEnoughMemoryException  nothing leaks
    explicit SparseSVD(const SparseMatrix& matrix, std::int32_t numSingularValues, double tolerance);
    /// The same, watched by `observer`.
    explicit SparseSVD(const SparseMatrix& matrix, std::int32_t numSingularValues, double tolerance,
                       const LanczosObserver& observer);
    SparseSVD(SparseSVD&&) noexcept = default;
    SparseSVD& operator=(SparseSVD&&) noexcept = default;

    /// @name Results
    /// The objects themselves, not copies: released with this one. Members that read them raise in the
    /// hardened build after a release.
    /// @{

    /// m x nsv, orthonormal columns.
    const Matrix& U() const noexcept { return _mU; }
    /// n x nsv, orthonormal columns.
    const Matrix& V() const noexcept { return _mV; }
    /// nsv values, largest first.
    const Vector& S() const noexcept { return _mS; }
    /// How the work ended: passes, steps, and the residual of the last triplet.
    const LanczosPass& LastPass() const noexcept { return lastPass_; }
    /// @}

    /// Releases the results at once; may be repeated.
    void Dispose() noexcept;

private:
    Matrix _mU;
    Matrix _mV;
    Vector _mS;
    LanczosPass lastPass_;
};

static_assert(Disposable<SparseSVD>);

} // namespace Velmar::Lintrix
