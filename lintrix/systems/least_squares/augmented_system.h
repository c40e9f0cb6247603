#pragma once
/// @file
/// The augmented system of a sparse least squares or least norm problem, and its factor.

#include <lintrix/systems/least_squares/symmetric_factor.h>
#include <lintrix/systems/least_squares/tall_matrix.h>
#include <lintrix/systems/multifrontal/multifrontal_ldl.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <optional>
#include <vector>

namespace Velmar::Lintrix::detail {

/// K = [alpha*I, M*D; D*M^H, 0] of order p + q, symmetric or Hermitian indefinite, D being the scales of M;
/// factorized by fronts in which pivots that are too small wait. Nothing is squared, so that its factor is as
/// good as M is, where the normal equations see the square of its condition. It fills far more.
///
/// alpha decides on the condition of K: best is about the smallest singular value of M*D, and 2^-10 is a
/// fair start.
/// Source: Bjorck, Numerical Methods for Least Squares Problems (1996), 2.5; Arioli, Duff, de Rijk, Numer.
/// Math. 55 (1989).
template <class Cell>
class LINTRIX_TESTABLE AugmentedSystem {
public:
    /// Refers to M. Analyses K with this alpha.
    explicit AugmentedSystem(const TallMatrix<Cell>& M, double alpha = 0x1p-10);

    /// Whether the analysis went through: K may pass the counts of a sparse matrix, or memory.
    bool analysed() const noexcept { return ldl_.has_value(); }
    const FactorForecast& forecast() const noexcept { return forecast_; }
    /// @return whether a factor stands: not where one has no room, or grows to several times its forecast
    /// @throws what listens to the work
    bool factorize(double alpha);
    /// Pivots that were zero: above 0 M is deficient, or nearly.
    std::int32_t replacedPivots() const { return ldl_->replaced(); }

    /// t + M*w = f, M^H*t = g for t of length p and w of length q. Not refined: who calls has the residuals.
    /// @pre factorized
    void solve(const Cell* f, const Cell* g, Cell* t, Cell* w);

private:
    void layOut();
    void fill();

    const TallMatrix<Cell>& M_;
    EntryArrays<Cell> entries_{};
    std::optional<multifrontal::MultifrontalLDL<Cell>> ldl_{};
    FactorForecast forecast_{};
    std::vector<Cell> cells_{};
    double alpha_;
};

extern template class AugmentedSystem<double>;
extern template class AugmentedSystem<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
