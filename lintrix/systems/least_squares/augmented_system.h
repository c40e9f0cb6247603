#pragma once
/// @file
/// The augmented system of a sparse least squares or least norm problem, and its factor.

#include <lintrix/systems/least_squares/symmetric_factor.h>
#include <lintrix/systems/least_squares/tall_matrix.h>

#include <vector>

namespace Velmar::Lintrix::detail {

/// K = [alpha*I, M*D; D*M^H, 0] of order p + q, symmetric or Hermitian indefinite, D being the scales of M;
/// factorized with matching, scaling and pivots of one and two columns. Nothing is squared, so that its
/// factor is as good as M is, where the normal equations see the square of its condition. It fills far more.
///
/// alpha decides on the condition of K: best is about the smallest singular value of M*D, and 2^-10 is a
/// fair start.
/// Source: Bjorck, Numerical Methods for Least Squares Problems (1996), 2.5; Arioli, Duff, de Rijk, Numer.
/// Math. 55 (1989).
template <class Cell>
class LINTRIX_TESTABLE AugmentedSystem {
public:
    /// Refers to M. Analyses K, the matching with this alpha.
    explicit AugmentedSystem(const TallMatrix<Cell>& M, double alpha = 0x1p-10);
    ~AugmentedSystem();

    /// Whether the analysis went through.
    bool analysed() const noexcept { return analysed_; }
    const FactorForecast& forecast() const noexcept { return factor_.forecast(); }
    /// @return whether a factor stands
    bool factorize(double alpha);
    /// Pivots that the engine replaced: above 0 M is deficient, or nearly.
    std::int32_t replacedPivots() const;

    /// t + M*w = f, M^H*t = g for t of length p and w of length q. Not refined: who calls has the residuals.
    bool solve(const Cell* f, const Cell* g, Cell* t, Cell* w);

private:
    void layOut();
    void fill();

    const TallMatrix<Cell>& M_;
    SymmetricFactor<Cell> factor_;
    std::vector<Cell> right_, solution_;
    double alpha_;
    bool analysed_ = false;
};

extern template class AugmentedSystem<double>;
extern template class AugmentedSystem<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
