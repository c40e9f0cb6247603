#pragma once
/// @file
/// Factors of A - s*I for a few s, and the inertia that is certain by them.

#include <lintrix/dense/detail/dense_classes.h>
#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/sparse_matrix.h>
#include <lintrix/systems/linear_map.h>
#include <lintrix/systems/multifrontal/multifrontal_ldl.h>
#include <lintrix/systems/structure/inertia.h>

#include <complex>
#include <cstdint>
#include <optional>

namespace Velmar::Lintrix::detail {

/// Of the measured size of F = A*M^-1 - I, M being what a factor is that of: it is measured in few
/// directions, and random ones miss one that counts by a factor of a thousand about once in a thousand times
/// each. Below it A has the inertia of M.
inline constexpr double kSureDrift = 1e-3;

/// Of a factor, and how far what it is of may be from the matrix: an eigenvalue of that size could have
/// another sign.
struct FactorInertia {
    Inertia inertia;
    double error;
};

/// One factor at a time, whose pivots wait, after one analysis.
template <class Cell>
class ShiftedFactors {
public:
    /// Refers to `A`, which is symmetric or Hermitian and finite. @throws std::bad_alloc
    explicit ShiftedFactors(const SparseOf<Cell>& A);

    /// Whether a factorization takes no more than so many bytes, those of this object among them, and so many
    /// operations.
    bool isAffordable(double left, double operations);
    /// Of A - shift*I; none where the factor is too far from it, or pivots that wait make it take more than
    /// was asked for. @throws NotEnoughMemoryException, std::bad_alloc
    std::optional<FactorInertia> at(double shift);

private:
    LinearMap<Cell> inverse() const;

    const SparseOf<Cell>& A_;
    EntryArrays<Cell> entries_; ///< both triangles, and all of the diagonal
    multifrontal::MultifrontalLDL<Cell> ldl_;
    multifrontal::FrontBounds bounds_{};
};

extern template class ShiftedFactors<double>;
extern template class ShiftedFactors<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
