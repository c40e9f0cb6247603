#pragma once
/// @file
/// Solving with a stored factor: forward, diagonal and backward substitution, supernode by supernode.

#include <lintrix/engine/numeric_factorization.h>
#include <lintrix/services/export.h>

namespace Velmar::Lintrix::detail::engine {

/// A factorization as the solve reads it.
template <class T>
struct StoredFactor {
    FactorStructure structure;
    std::span<const std::int64_t> lowerStarts; ///< offsets of the L panels
    std::span<const std::int64_t> upperStarts; ///< of the U panels; empty in symmetric storage
    Method method;
    bool hermitian;
    int tallest; ///< rows of the tallest panel
    Factor<T> panels;

    int order() const noexcept { return structure.starts.back(); }
};

/// Right-hand sides in elimination order, a few at a time: number c of position j stands at
/// cells[j * count + c], so that the inner loops run over right-hand sides next to each other.
template <class T>
struct RightSides {
    T* cells;
    int count;
};

/// As many right-hand sides as one pass over the factor takes along.
inline constexpr int kSidesAtOnce = 8;

/// Elements of work space that each of the functions below needs for `count` right-hand sides.
constexpr std::int64_t substitutionWork(int tallest, int count) noexcept
{
    return std::int64_t{tallest} * count;
}

/// With the supernode's block P*A*Q = L*U (P*A*P' = L*D*L' in symmetric storage): forward substitution
/// applies P and inv(L); backward applies inv(U), or inv(L'), then Q. The transposed system exchanges L and
/// U', P and Q'.
template <class T>
LINTRIX_TESTABLE void substituteForward(const StoredFactor<T>& factor, bool transposed,
                                        const RightSides<T>& y, T* work);

/// Divides by D; nothing to do for LU and Cholesky.
template <class T>
LINTRIX_TESTABLE void substituteDiagonal(const StoredFactor<T>& factor, const RightSides<T>& y);

template <class T>
LINTRIX_TESTABLE void substituteBackward(const StoredFactor<T>& factor, bool transposed,
                                         const RightSides<T>& y, T* work);

} // namespace Velmar::Lintrix::detail::engine
