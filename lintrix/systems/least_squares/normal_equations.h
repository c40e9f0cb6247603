#pragma once
/// @file
/// The normal equations of a sparse least squares problem, and their Cholesky factor.

#include <lintrix/systems/least_squares/shifted_inverse.h>

#include <vector>

namespace Velmar::Lintrix::detail {

/// S = D*M^H*M*D + shift*I of order q, upper triangle. Squaring costs half of the digits, which refinement
/// with the residual of M gives back; the shift stands above the rounding of S, so that Cholesky's pivots
/// stay positive for M of any rank.
///
/// Dense rows of M fill S: `products` tells beforehand what S would take.
template <class Cell>
class LINTRIX_TESTABLE NormalEquations final : public ShiftedInverse<Cell> {
public:
    /// Multiplications for all of S: the sum over the rows of M of the squares of their lengths.
    static double products(const TallMatrix<Cell>& M);

    /// Refers to M. Lays out the pattern of S and analyses it.
    explicit NormalEquations(const TallMatrix<Cell>& M);

    bool analysed() const noexcept { return analysed_; }
    const FactorForecast& forecast() const override { return factor_.forecast(); }
    bool factorize(double relative) override;
    bool apply(const Cell* g, Cell* y) override;
    double bound() const override { return bound_; }
    std::int32_t countBelow(double relative) override;

private:
    void layOut();
    void fill();
    void addToDiagonal(double shift);

    const TallMatrix<Cell>& M_;
    SymmetricFactor<Cell> factor_;
    std::vector<Cell> work_, solution_;
    double bound_ = 0.0;
    bool analysed_ = false;
};

extern template class NormalEquations<double>;
extern template class NormalEquations<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
