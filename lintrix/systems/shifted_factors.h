#pragma once
/// @file
/// Factors of A - s*I for a few s, and the inertia that is certain by them.

#include <lintrix/systems/roads/direct_run.h>
#include <lintrix/systems/structure/inertia.h>
#include <lintrix/systems/system_matrix.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace Velmar::Lintrix::detail {

/// Of the measured size of F = A*M^-1 - I, M being what a factor is that of: it is measured in few
/// directions, and random ones miss one that counts by a factor of a thousand about once in a thousand times
/// each. Below it A has the inertia of M.
inline constexpr double kSureDrift = 1e-3;

/// One factor at a time, after one analysis.
template <class Cell>
class ShiftedFactors {
public:
    /// Along the diagonal (`Road::Symmetric`) or with matching and pairs. Refers to the system, which is
    /// symmetric or Hermitian. @throws std::bad_alloc
    ShiftedFactors(SystemMatrix<Cell>& system, roads::Road road);

    /// With the values at this shift, on which a matching rests. @return  whether a factorization takes no
    /// more than so many bytes, those of this object among them, and so many operations
    bool analyse(double left, double operations, double shift = 0.0);
    std::int32_t entries() const noexcept { return matrix_.entries(); }
    /// Of A - shift*I; none where the factor is too far from it. @pre analysed
    std::optional<Inertia> inertiaAt(double shift);

private:
    void shiftBy(double shift);

    SystemMatrix<Cell>& system_;
    EngineMatrix matrix_;
    std::vector<Cell> original_, values_;
    std::unique_ptr<roads::DirectRun> run_;
};

extern template class ShiftedFactors<double>;
extern template class ShiftedFactors<std::complex<double>>;

} // namespace Velmar::Lintrix::detail
