#pragma once
/// @file
/// The basis of a Krylov space and the least-squares problem in it.

#include <lintrix/services/export.h>

#include <complex>
#include <cstdint>
#include <vector>

namespace Velmar::Lintrix::detail {

/// V with orthonormal columns, V*e_1 = r/||r||_2, that grows by what some map makes of its columns:
///
///     [A*z_1 .. A*z_k] = V_(k+1)*H,  H upper Hessenberg,  H = Q*[R; 0] by rotations of neighbouring rows,
///
/// so that y = inv(R)*(Q^H*||r||*e_1) minimizes ||r - A*Z*y|| = remainder().
///
/// Modified Gram-Schmidt, with a second sweep where the first leaves less than 1/sqrt(2) of the length:
/// twice is enough (Parlett, The Symmetric Eigenvalue Problem, section 6.9). Saad, Iterative Methods for
/// Sparse Linear Systems, 2nd ed., section 6.5.
template <class Cell>
class LINTRIX_TESTABLE Arnoldi {
public:
    using Vector = std::vector<Cell>;

    /// Of an r that is not 0 and finite.
    explicit Arnoldi(Vector r);

    /// Takes A*z_k for the last vector of the basis. False, and nothing has changed, where it is not finite.
    bool extend(Vector image);

    /// ||r - A*Z*y||_2, by the rotations alone.
    double remainder() const noexcept { return remainder_; }
    /// Whether the space is invariant: what was added last lay in it already, so that nothing is left to add.
    bool isComplete() const noexcept { return complete_; }
    /// k
    std::int32_t steps() const noexcept { return static_cast<std::int32_t>(r_.size()); }
    /// Those of V: one more than steps() until the space is complete, then as many.
    const std::vector<Vector>& vectors() const noexcept { return v_; }
    const Vector& last() const noexcept { return v_.back(); }

    /// y. A column that depends on those before it, as a singular A leaves one, is not used: y ends before.
    Vector minimizer() const;

private:
    /// [c s; -conj(s) c], c real.
    struct Rotation {
        double c;
        Cell s;
        void apply(Cell& first, Cell& second) const noexcept;
    };
    void project(Vector& image, Vector& column) const;
    void rotate(Vector column, double below);

    std::vector<Vector> v_, r_; ///< columns of V, and of R, each as long as it is high
    std::vector<Rotation> rotations_;
    Vector right_; ///< Q^H*||r||*e_1
    double remainder_;
    bool complete_ = false, dependent_ = false;
};

extern template class Arnoldi<double>;
extern template class Arnoldi<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
