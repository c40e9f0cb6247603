#pragma once
/// @file
/// Solving with a stored factor: forward, diagonal and backward substitution, supernode by supernode.

#include <lintrix/engine/factorization/numeric_factorization.h>
#include <lintrix/services/export.h>
#include <lintrix/services/work.h>

namespace Velmar::Lintrix::detail::engine {

/// A factorization as the solve reads it.
template <class T>
struct StoredFactor {
    FactorStructure structure;
    std::span<const std::int64_t> lowerStarts; ///< offsets of the L panels
    std::span<const std::int64_t> upperStarts; ///< of the U panels; empty in symmetric storage
    Method method;
    bool hermitian;
    Factor<T> panels;
    const WorkMeter* work = nullptr; ///< hears of cells times right-hand sides; where it ends, so does a pass

    int order() const noexcept { return structure.starts.back(); }
};

/// What one pass over the factor takes on one thread with so many right-hand sides.
template <class T>
double substitutionNanoseconds(const StoredFactor<T>& factor, double sides) noexcept
{
    constexpr double kCell = kIsComplex<T> ? 1.0 : 0.5;
    return kCell * static_cast<double>(factor.lowerStarts.back()) * sides;
}

/// Right-hand sides in elimination order, a few at a time: number c of position j stands at
/// cells[j * count + c], so that the inner loops run over right-hand sides next to each other.
template <class T>
struct RightSides {
    T* cells;
    int count; ///< one of those that sidesTaken() answers
};

/// As many right-hand sides as one pass over the factor takes along.
inline constexpr int kSidesAtOnce = 8;

/// The room that `count` right-hand sides, up to kSidesAtOnce, are given at each position: one, four or
/// eight, and of complex ones also two, which fill a vector.
template <class T>
constexpr int sidesTaken(int count) noexcept
{
    constexpr int few = kIsComplex<T> ? 2 : 4;
    return count == 1 ? 1 : count <= few ? few : count <= 4 ? 4 : kSidesAtOnce;
}

/// The supernodes first .. last.
struct SupernodeRange {
    int first, last;
};

/// What a backward substitution does before it reaches a supernode's triangle.
enum class BeforeTriangle { Nothing, DivideByD };

/// With the supernode's block P*A*Q = L*U (P*A*P' = L*D*L' in symmetric storage): forward substitution
/// applies P and inv(L); backward applies inv(U), or inv(L'), then Q. The transposed system exchanges L and
/// U', P and Q'. Forward goes through the range upwards, backward downwards; each panel is read once. Where
/// the work has to end, y is undefined.
template <class T>
LINTRIX_TESTABLE void substituteForward(const StoredFactor<T>& factor, bool transposed,
                                        const RightSides<T>& y, SupernodeRange range);

/// Divides by D; nothing to do for LU and Cholesky.
template <class T>
LINTRIX_TESTABLE void substituteDiagonal(const StoredFactor<T>& factor, const RightSides<T>& y,
                                         SupernodeRange range);

/// With DivideByD, substituteDiagonal on the way: the panels are then read once for both.
template <class T>
LINTRIX_TESTABLE void substituteBackward(const StoredFactor<T>& factor, bool transposed,
                                         const RightSides<T>& y, SupernodeRange range, BeforeTriangle before);

} // namespace Velmar::Lintrix::detail::engine
