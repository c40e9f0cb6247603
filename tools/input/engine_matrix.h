#pragma once
// A matrix under the type that the sparse direct solver takes it for.

#include <tools/input/sparse_system.h>

#include <cstdint>
#include <string_view>

namespace Velmar::Lintrix::tools {

/// What the direct solver may assume of a matrix, each weaker than the one before it.
enum class Assumption { PositiveDefinite, Symmetric, SymmetricPattern, Nothing };

/// The solver's number for a type. Symmetric types of complex matrices are hermitian, but for 6:
///  real     2, -2, 1, 11
///  complex  4, -4 or 6, 3, 13
template <class Cell>
int typeOf(Assumption assumption, const Traits& traits);

/// The strongest that nothing seen speaks against; a symmetric pattern counts with a diagonal of non-zeros.
Assumption assumptionOf(const Traits& traits);

std::string_view typeInWords(int mtype);

/// The arrays of a system, as the solver takes them: types of even number as the upper triangle. The solver
/// shifts the indices while it works and puts them back.
struct EngineMatrix {
    int mtype = 11;
    std::int32_t n = 0;
    const void* a = nullptr;
    std::int32_t *ia = nullptr, *ja = nullptr;

    bool isTriangle() const noexcept { return mtype % 2 == 0; }
    std::int32_t entries() const noexcept { return ia[n] - 1; }
    /// As many entries as rows: the solver takes it as it is and analyses nothing.
    bool isDiagonal() const noexcept { return entries() == n; }
};

/// `system` must outlive the result. @pre its traits allow the type
template <class Cell>
EngineMatrix engineMatrixOf(SparseSystem<Cell>& system, Assumption assumption);

} // namespace Velmar::Lintrix::tools
