#pragma once
/// @file
/// The normal equations of a sparse least squares problem, bordered by its dense rows, and their factor.

#include <lintrix/systems/least_squares/symmetric_factor.h>
#include <lintrix/systems/least_squares/tall_matrix.h>

#include <vector>

namespace Velmar::Lintrix::detail {

/// W = D*(D*M^H*M*D + shift*I)^-1*D by a factor, D being the scales of M.
///
/// Squaring costs half of the digits, which refinement with the residual of M gives back. The shift stands
/// above the rounding, so that a factor exists for M of any rank; below 0 it is one of L*D*L^H and counts. On
/// the part of the space whose singular values are well above sqrt(shift), W*M^H*M is nearly the identity;
/// where all scales are the same s, W is (M^H*M + (shift/s^2)*I)^-1, which keeps the range of M^H.
///
/// A row of M with k entries puts k^2 into the product. So the d rows that are dense are kept aside, and what
/// is factorized, with Ms the other rows and Md these, is of order q + d
///
///     [ D*Ms^H*Ms*D + shift*I   D*Md^H ]
///     [ Md*D                    -I     ]
///
/// which has the same W in its first block. It is quasi-definite: L*D*L^H exists in any order
/// (Vanderbei, SIAM J. Optim. 5 (1995)). Without dense rows it is Cholesky's.
template <class Cell>
class LINTRIX_TESTABLE NormalEquations {
public:
    /// Refers to M. Lays out the pattern and analyses it.
    explicit NormalEquations(const TallMatrix<Cell>& M);
    ~NormalEquations();

    /// Whether the analysis went through. Not where the pattern would pass the engine's sizes, or the product
    /// has more than 2^33 multiplications.
    bool analysed() const noexcept { return analysed_; }
    const FactorForecast& forecast() const noexcept { return factor_.forecast(); }
    std::int32_t denseRows() const noexcept { return static_cast<std::int32_t>(dense_.size()); }

    /// To be called when the scales of M have changed.
    void rescaled() { diagonal_.clear(); }
    /// shift = `relative` times bound(). @return whether a factor stands
    bool factorize(double relative);
    /// With the shift below 0, too: the factor is still one of a positive definite matrix if no eigenvalue of
    /// D*M^H*M*D lies below -`relative` times bound(), and how many do is what is returned; -1 where no
    /// factor stands. Sylvester's law of inertia.
    std::int32_t factorizeAndCount(double relative);
    /// y = W*g, both of length q
    bool apply(const Cell* g, Cell* y);
    /// Of ||D*M^H*M*D||, from above; after a factorization.
    double bound() const noexcept { return bound_; }

private:
    void findDenseRows();
    void layOut();
    void fill();
    bool factorizeShifted(double relative, FactorKind kind);
    template <class Visit>
    void overColumn(std::int32_t i, Visit visit) const;

    const TallMatrix<Cell>& M_;
    SymmetricFactor<Cell> factor_;
    std::vector<std::int32_t> dense_;    ///< rows of M, ascending
    std::vector<std::int32_t> borderOf_; ///< place in dense_ of each row of M; -1 where it is sparse
    std::vector<Cell> right_, solution_;
    std::vector<Cell> diagonal_; ///< of the product without a shift; empty until it is filled in
    double products_ = 0.0, bound_ = 0.0;
    bool analysed_ = false;
};

extern template class NormalEquations<double>;
extern template class NormalEquations<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
