#pragma once
/// @file
/// The augmented system of a sparse least squares or least norm problem, and its factor.

#include <lintrix/systems/least_squares/shifted_inverse.h>

#include <vector>

namespace Velmar::Lintrix::detail {

/// K = [alpha*I, M*D; D*M^H, -(shift/alpha)*I] of order p + q, upper triangle. Nothing is squared, and dense
/// rows of M stay rows. With the shift K is quasi-definite: it has a factor in any order, whatever the rank
/// of M. The Schur complement of its first block is -(S + shift*I)/alpha, S as of the normal equations.
///
/// alpha decides on the condition of K: best is about the smallest singular value of M*D.
/// Source: Bjorck, Numerical Methods for Least Squares Problems (1996), 2.5; Arioli, Duff, de Rijk, Numer.
/// Math. 55 (1989).
template <class Cell>
class LINTRIX_TESTABLE AugmentedSystem final : public ShiftedInverse<Cell> {
public:
    /// Refers to M. Analyses K.
    explicit AugmentedSystem(const TallMatrix<Cell>& M);

    bool analysed() const noexcept { return analysed_; }
    const FactorForecast& forecast() const override { return factor_.forecast(); }
    /// From the next factorization on. 2^-10 before. Other than 0.
    void alpha(double value) noexcept { alpha_ = value; }
    bool factorize(double relative) override;
    bool apply(const Cell* g, Cell* y) override;
    double bound() const override { return bound_; }
    std::int32_t countBelow(double relative) override;

    /// t + M*w = f, M^H*t = g for t of length p and w of length q, but for the shift.
    bool solve(const Cell* f, const Cell* g, Cell* t, Cell* w);
    /// Pivots that the engine replaced.
    std::int32_t replacedPivots() const { return factor_.replacedPivots(); }

private:
    void layOut();
    void fill(double corner);
    void boundNorm();

    const TallMatrix<Cell>& M_;
    SymmetricFactor<Cell> factor_;
    std::vector<Cell> right_, solution_;
    double alpha_ = 0x1p-10, bound_ = 0.0;
    bool analysed_ = false;
};

extern template class AugmentedSystem<double>;
extern template class AugmentedSystem<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
