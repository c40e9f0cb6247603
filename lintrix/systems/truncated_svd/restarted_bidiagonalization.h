#pragma once
/// @file
/// Block Lanczos bidiagonalization with thick restarts.

#include <lintrix/dense/vector.h>
#include <lintrix/foundation/random.h>
#include <lintrix/services/export.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/structure/column_block.h>

#include <complex>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Which of the left vectors are made orthogonal to all before them. The right ones always are.
enum class Reorthogonalization {
    Partial, ///< those that the recurrence has determined badly: the others follow from the right ones
    Full,
};

/// Triplets that were found otherwise, M*v = s*u, M^H*u = s*v + c*n.
template <class Cell>
struct StandingTriplets {
    ColumnBlock<Cell> left, right; ///< a u each; a v each, and behind them n
    std::vector<double> values;    ///< s, largest first
    std::vector<Cell> couplings;   ///< c
};

/// The invariant, with `size()` columns in U and V, the next block N of right vectors behind them, and E the
/// last columns of the identity:
///
///     M*V = U*B,   M^H*U = V*B^H + N*S*E^H,   [V N] orthonormal, B upper triangular but for its first
///     columns.
///
/// After a restart B starts with the retained singular values, and the columns of the block behind them
/// couple with all of these. The singular triplets of B are then those of M, but for ||S*E^H*p|| with p a
/// left singular vector of B.
///
/// U is orthonormal as far as V is: U^H*U = I + B^-H*O(eps*||M||) (Simon, Zha, SIAM J. Sci. Comput. 21
/// (2000)), so that the left vectors of large singular values need no reorthogonalization. Where a step
/// leaves a short vector, or a retained value is small, it is done.
///
/// A direction that is dependent on those before, as in an exhausted subspace, gives way to a random one with
/// zeros in B or S: so all of a zero matrix is found, and the identity's multiple values.
///
/// Source: Baglama and Reichel, SIAM J. Sci. Comput. 27 (2005); the restart by Ritz vectors as in Wu and
/// Simon, SIAM J. Matrix Anal. Appl. 22 (2000).
template <class Cell>
class LINTRIX_TESTABLE RestartedBidiagonalization {
public:
    struct Sizes {
        std::int32_t basis; ///< columns at a restart, at most those of M
        std::int32_t block; ///< right vectors of a step
    };

    /// M has at least as many rows as columns, and is referred to. The first block is random; with `start`,
    /// of the length of its columns, that one leads it. @throws std::bad_alloc
    RestartedBidiagonalization(const LinearMap<Cell>& M, Sizes sizes, Reorthogonalization left,
                               Random& random, const Cell* start = nullptr);

    /// As after a `restart` that has kept these triplets, of which `sizes` has room. @throws std::bad_alloc
    RestartedBidiagonalization(const LinearMap<Cell>& M, Sizes sizes, Random& random,
                               const StandingTriplets<Cell>& standing);

    /// Takes steps up to so many columns, or to the size of the basis, and decomposes B.
    /// @throws as the listener of `WorkScope`
    void expand(std::int32_t size);
    /// Keeps the `count` leading triplets, which are now columns of U and V, and the next block.
    void restart(std::int32_t count);
    /// The next block, and those after it, get so many random vectors more. @pre after `restart`
    void widen(std::int32_t vectors);
    /// The sizes that it would have then.
    Sizes widened(std::int32_t vectors) const noexcept;
    Sizes sizes() const noexcept { return sizes_; }
    std::int32_t size() const noexcept { return size_; }
    /// The right vectors span everything: the triplets are those of M.
    bool isExhausted() const noexcept { return next_ == 0; }
    /// Of B, largest first.
    const std::vector<double>& values() const noexcept { return values_; }
    /// ||M^H*u - s*v|| of each triplet by the invariant, in which M*v - s*u is zero.
    const std::vector<double>& residuals() const noexcept { return residuals_; }
    std::int64_t products() const noexcept { return products_; } ///< with a vector, of M and M^H together
    /// The columns kept by `restart`.
    const Cell* left(std::int32_t j) const noexcept { return U_.column(j); }
    const Cell* right(std::int32_t j) const noexcept { return V_.column(j); }

    /// Bytes that bases and small matrices take.
    static double bytesFor(std::int32_t rows, std::int32_t cols, Sizes sizes);

private:
    Cell& b(std::int32_t i, std::int32_t j) noexcept { return B_[static_cast<std::size_t>(j) * room_ + i]; }
    void allot(Sizes sizes);
    void stepLeft();
    void stepRight();
    void decompose();
    double orthonormalizeLast(ColumnBlock<Cell>& basis, std::int32_t first, std::int32_t count,
                              Cell* triangle, std::int32_t stride);
    void separate(ColumnBlock<Cell>& basis, std::int32_t first, std::int32_t c, Cell* sums);
    void makeRandom(ColumnBlock<Cell>& basis, std::int32_t column);
    double project(const ColumnBlock<Cell>& basis, std::int32_t first, std::int32_t behind, Cell* x,
                   std::int32_t count, Cell* coefficients);

    const LinearMap<Cell>& M_;
    Random& random_;
    Reorthogonalization reorthogonalization_;
    Sizes sizes_;
    ColumnBlock<Cell> U_, V_;
    std::vector<Cell> B_, S_;              // column-major; S is next_ x last_
    std::vector<Cell> coefficients_;       // of projections
    std::vector<Cell> leftOfB_, rightOfB_; // singular vectors, a column each
    std::vector<double> values_, residuals_;
    std::int32_t room_ = 0;    // rows of B
    std::int32_t size_ = 0;    // columns of U, of V without the next block
    std::int32_t coupled_ = 0; // first row of B with which the next block couples
    std::int32_t last_ = 0;    // columns of the last block in U
    std::int32_t next_ = 0;    // columns of the next block
    double scale_ = 0.0;       // the largest coefficient of B so far
    std::int64_t products_ = 0;
};

extern template class RestartedBidiagonalization<double>;
extern template class RestartedBidiagonalization<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
