#pragma once
/// @file
/// Lanczos tridiagonalization of M^H*M with thick restarts.

#include <lintrix/foundation/random.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/truncated_svd/broken_arrow.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

namespace Velmar::Lintrix::detail {

/// The invariant, with `size()` columns in V, one more vector n behind them, and T a `BrokenArrow`:
///
///     M^H*M*V = V*T + n*t',   [V n] orthonormal.
///
/// The eigenpairs of T are those of M^H*M but for t'*q: singular values and right singular vectors of M. No
/// left vector is kept, none is turned at a restart, and of T only what decides is worked out between
/// restarts: a step costs its two products and one pass over V. What is paid for that are small values: s has
/// an error of eps*||M||^2/s, so that nothing below some digits of ||M|| can be found.
///
/// Source: Wu and Simon, SIAM J. Matrix Anal. Appl. 22 (2000).
template <class Cell>
class LINTRIX_TESTABLE GramLanczos {
public:
    /// M is referred to. From `start`, of the length of M's columns, or from a random vector. Room for at
    /// most `basis` columns. @throws std::bad_alloc
    GramLanczos(const LinearMap<Cell>& M, std::int32_t basis, Random& random, const Cell* start);

    /// Takes steps until the `wanted` leading triplets have residuals of at most tolerance*values()[0] by
    /// estimate, or the basis is full. @return whether they have
    /// @throws as the listener of `WorkScope`, OperationFailedException, std::bad_alloc
    bool expand(std::int32_t wanted, double tolerance);
    /// Keeps the `count` leading vectors. @pre after `expand`
    void restart(std::int32_t count);
    /// Takes so many steps beside what was kept, from a random vector in the place of the next one. @return
    /// whether a singular value above this one shows. @pre after `restart`
    bool meetsMoreThan(double value, std::int32_t steps);

    std::int32_t size() const noexcept { return small_.order(); }
    std::int64_t products() const noexcept { return products_; } ///< with a vector, of M and M^H together
    /// Singular values, largest first, and ||M^H*u - s*v|| of each with u = M*v/s. As of the last steps.
    const std::vector<double>& values() const noexcept { return values_; }
    const std::vector<double>& residuals() const noexcept { return residuals_; }
    /// What `restart` has kept: the vectors, and behind them the next one.
    const Cell* right(std::int32_t j) const noexcept { return V_.get() + std::int64_t{length_} * j; }
    /// Of what `restart` has kept, c in M^H*u = s*v + c*n.
    std::vector<Cell> couplings() const;
    /// Leading triplets with residuals of at most tolerance*values()[0], at most `wanted`.
    std::int32_t settled(std::int32_t wanted, double tolerance) const;

    /// Bytes that it takes.
    static double bytesFor(std::int32_t rows, std::int32_t cols, std::int32_t basis);

private:
    Cell* column(std::int32_t j) noexcept { return V_.get() + std::int64_t{length_} * j; }
    void step();
    double subtractRecurrence(Cell* x);
    double project(std::int32_t columns, Cell* x);
    void makeRandom(std::int32_t j);
    void decompose();
    std::int32_t stepsToNextLook(std::int32_t wanted, double tolerance, double residual);

    const LinearMap<Cell>& M_;
    Random& random_;
    std::int32_t length_, basis_;
    std::unique_ptr<Cell[]> V_;
    std::vector<Cell> image_, coefficients_;
    BrokenArrow small_;
    double scale_ = 0.0; ///< the largest element of T so far
    std::vector<double> values_, residuals_;
    std::int64_t steps_ = 0, nextLook_ = 0, lastLook_ = 0;
    double lastResidual_ = 0.0, atLeast_ = 0.0;
    std::int64_t products_ = 0;
};

extern template class GramLanczos<double>;
extern template class GramLanczos<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
