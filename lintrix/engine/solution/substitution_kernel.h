#pragma once
/// @file
/// A few columns of a panel against right-hand sides, in vector registers. Written once over vectors of four
/// numbers; the source compiles it for each instruction set.
///
/// Right-hand sides lie next to each other, kSides of them at each position of y. The panel's row i belongs
/// to position rows[i]; `own` are the positions of the C columns, next to each other.

#include <lintrix/engine/call/scalar.h>

#include <cstddef>

#define LINTRIX_ALWAYS_INLINE [[gnu::always_inline]] inline

namespace Velmar::Lintrix::detail::engine::substitution_kernel {

template <class R, int Lanes>
struct Vectors {
    typedef R Register __attribute__((vector_size(Lanes * sizeof(R))));
    /// Wherever a number may stand. Reached through pointers to this very name and copied from there: the
    /// attribute is no part of the type, so that a reference in a signature, and what a template deduces,
    /// promises the alignment of a register.
    typedef R Memory __attribute__((vector_size(Lanes * sizeof(R)), aligned(sizeof(R)), may_alias));
};

/// One right-hand side of real numbers: vectors run down the rows.
template <class R>
struct OneSide {
    static constexpr int kSides = 1, kMostColumns = 8;
    static constexpr int kLanes = 4;
    using V = typename Vectors<R, kLanes>::Register;
    using Memory = typename Vectors<R, kLanes>::Memory;

    /// y(rows) -= P*own
    template <int C>
    LINTRIX_ALWAYS_INLINE static void subtractRows(const R* p, std::ptrdiff_t ld, int m, const int* rows,
                                                   const R* own, R* y)
    {
        R x[C];
        for (int c = 0; c < C; ++c) x[c] = own[c];
        int i = 0;
        for (; i + kLanes <= m; i += kLanes) {
            V sum = *reinterpret_cast<const Memory*>(p + i) * x[0];
            for (int c = 1; c < C; ++c) sum += *reinterpret_cast<const Memory*>(p + ld * c + i) * x[c];
            for (int l = 0; l < kLanes; ++l) y[rows[i + l]] -= sum[l];
        }
        for (; i < m; ++i) {
            R sum = p[i] * x[0];
            for (int c = 1; c < C; ++c) sum += p[ld * c + i] * x[c];
            y[rows[i]] -= sum;
        }
    }

    /// own -= P'*y(rows)
    template <int C>
    LINTRIX_ALWAYS_INLINE static void subtractColumns(const R* p, std::ptrdiff_t ld, int m, const int* rows,
                                                      R* own, const R* y, bool /*adjoint*/)
    {
        V sum[C];
        for (int c = 0; c < C; ++c) sum[c] = V{};
        int i = 0;
        for (; i + kLanes <= m; i += kLanes) {
            const V z{y[rows[i]], y[rows[i + 1]], y[rows[i + 2]], y[rows[i + 3]]};
            for (int c = 0; c < C; ++c) sum[c] += *reinterpret_cast<const Memory*>(p + ld * c + i) * z;
        }
        R total[C];
        for (int c = 0; c < C; ++c) total[c] = (sum[c][0] + sum[c][1]) + (sum[c][2] + sum[c][3]);
        for (; i < m; ++i) {
            const R z = y[rows[i]];
            for (int c = 0; c < C; ++c) total[c] += p[ld * c + i] * z;
        }
        for (int c = 0; c < C; ++c) own[c] -= total[c];
    }
};

/// Several right-hand sides, or complex ones: vectors run along the right-hand sides of a position. A complex
/// product takes two sums, one with the real parts of P and one with the imaginary, joined at the end.
/// `Bytes` are those of a register: longer vectors would live in memory.
template <class T, int Sides, int Bytes>
struct SideBlock {
    using R = RealOf<T>;
    static constexpr int kSides = Sides;
    static constexpr int kNumbers = Sides * (kIsComplex<T> ? 2 : 1); ///< real ones at a position
    static constexpr int kMostLanes = Bytes / static_cast<int>(sizeof(R)) < 4 ? 2 : 4;
    static constexpr int kLanes = kNumbers < kMostLanes ? kNumbers : kMostLanes;
    static constexpr int kVectors = kNumbers / kLanes;
    static constexpr int kMostColumns = kIsComplex<T> && Sides > 2 ? 2 : 4;
    static constexpr int kVectorsAtOnce = kVectors < 2 ? kVectors : 2; ///< of which registers hold all sums
    using V = typename Vectors<R, kLanes>::Register;
    using Memory = typename Vectors<R, kLanes>::Memory;

    template <int C>
    LINTRIX_ALWAYS_INLINE static void subtractRows(const T* p, std::ptrdiff_t ld, int m, const int* rows,
                                                   const T* own, T* y)
    {
        V x[C][kVectors];
        for (int c = 0; c < C; ++c) {
            for (int v = 0; v < kVectors; ++v) x[c][v] = vectors(own + c * Sides)[v];
        }
        for (int i = 0; i < m; ++i) {
            Memory* const to = vectors(y + std::ptrdiff_t{rows[i]} * Sides);
            for (int v = 0; v < kVectors; ++v) {
                Sum sum;
                for (int c = 0; c < C; ++c) sum.add(p[ld * c + i], x[c][v]);
                sum.subtractFrom(to + v, false);
            }
        }
    }

    template <int C>
    LINTRIX_ALWAYS_INLINE static void subtractColumns(const T* p, std::ptrdiff_t ld, int m, const int* rows,
                                                      T* own, const T* y, bool adjoint)
    {
        for (int first = 0; first < kVectors; first += kVectorsAtOnce) {
            Sum sum[C][kVectorsAtOnce];
            for (int i = 0; i < m; ++i) {
                const Memory* const sides = vectors(y + std::ptrdiff_t{rows[i]} * Sides) + first;
                for (int v = 0; v < kVectorsAtOnce; ++v) {
                    const V z = sides[v];
                    for (int c = 0; c < C; ++c) sum[c][v].add(p[ld * c + i], z);
                }
            }
            for (int c = 0; c < C; ++c) {
                Memory* const to = vectors(own + c * Sides) + first;
                for (int v = 0; v < kVectorsAtOnce; ++v) sum[c][v].subtractFrom(to + v, adjoint);
            }
        }
    }

private:
    LINTRIX_ALWAYS_INLINE static Memory* vectors(T* cells) { return reinterpret_cast<Memory*>(cells); }
    LINTRIX_ALWAYS_INLINE static const Memory* vectors(const T* cells)
    {
        return reinterpret_cast<const Memory*>(cells);
    }

    // Of products of numbers and vectors.
    struct Sum {
        V byReal{}, byImaginary{};

        LINTRIX_ALWAYS_INLINE void add(const T& number, const V& vector)
        {
            if constexpr (kIsComplex<T>) {
                byReal += vector * number.real();
                byImaginary += vector * number.imag();
            } else {
                byReal += vector * number;
            }
        }
        // *to -= the sum, with the numbers conjugated for `adjoint`.
        LINTRIX_ALWAYS_INLINE void subtractFrom(Memory* to, bool adjoint) const
        {
            *to -= byReal;
            if constexpr (kIsComplex<T>) {
                V crossed; // i times the other sum
                for (int l = 0; l < kLanes; l += 2) {
                    crossed[l] = -byImaginary[l + 1];
                    crossed[l + 1] = byImaginary[l];
                }
                if (adjoint) {
                    *to += crossed;
                } else {
                    *to -= crossed;
                }
            }
        }
    };
};

} // namespace Velmar::Lintrix::detail::engine::substitution_kernel
