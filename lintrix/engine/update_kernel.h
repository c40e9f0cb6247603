#pragma once
/// @file
/// The register kernel of supernode_update.cpp: blocks of a product kept in vector registers while the sum
/// over the descendant's columns runs, with no packing. Written once over vectors of any length; the source
/// compiles it for each instruction set.

#include <lintrix/engine/scalar.h>
#include <lintrix/engine/supernode_update.h>

#include <algorithm>
#include <cstddef>

#define LINTRIX_ALWAYS_INLINE [[gnu::always_inline]] inline

namespace Velmar::Lintrix::detail::engine::update_kernel {

/// Vectors of `Bytes` bytes that may lie anywhere.
template <class R, int Bytes>
struct Vectors {
    typedef R type __attribute__((vector_size(Bytes), aligned(sizeof(R)), may_alias));
    static constexpr int kLanes = Bytes / static_cast<int>(sizeof(R));
};

// out(i, c) = sum over p of a(i, p)*b(c, p) for Rows vectors of rows and Cols columns; real numbers.
template <class R, int Bytes, int Rows, int Cols>
LINTRIX_ALWAYS_INLINE void multiplyBlock(const R* a, std::ptrdiff_t lda, const R* b, std::ptrdiff_t ldb,
                                         int w, R* out)
{
    using V = typename Vectors<R, Bytes>::type;
    constexpr int lanes = Vectors<R, Bytes>::kLanes;
    V sum[Rows][Cols];
    for (int r = 0; r < Rows; ++r) {
        for (int c = 0; c < Cols; ++c) sum[r][c] = V{};
    }
    for (int p = 0; p < w; ++p) {
        V x[Rows];
        for (int r = 0; r < Rows; ++r) x[r] = *reinterpret_cast<const V*>(a + p * lda + r * lanes);
        for (int c = 0; c < Cols; ++c) {
            const R y = b[p * ldb + c];
            for (int r = 0; r < Rows; ++r) sum[r][c] += x[r] * y;
        }
    }
    for (int c = 0; c < Cols; ++c) {
        for (int r = 0; r < Rows; ++r) *reinterpret_cast<V*>(out + (c * Rows + r) * lanes) = sum[r][c];
    }
}

// The same for complex numbers, all pointers to real and imaginary parts in turn: one sum with the real parts
// of b, one with the imaginary, joined at the end.
template <class R, int Bytes, int Rows, int Cols>
LINTRIX_ALWAYS_INLINE void multiplyComplexBlock(const R* a, std::ptrdiff_t lda, const R* b,
                                                std::ptrdiff_t ldb, int w, R* out)
{
    using V = typename Vectors<R, Bytes>::type;
    constexpr int lanes = Vectors<R, Bytes>::kLanes;
    V byReal[Rows][Cols], byImaginary[Rows][Cols];
    for (int r = 0; r < Rows; ++r) {
        for (int c = 0; c < Cols; ++c) byReal[r][c] = byImaginary[r][c] = V{};
    }
    for (int p = 0; p < w; ++p) {
        V x[Rows];
        for (int r = 0; r < Rows; ++r) x[r] = *reinterpret_cast<const V*>(a + 2 * p * lda + r * lanes);
        for (int c = 0; c < Cols; ++c) {
            const R re = b[2 * (p * ldb + c)], im = b[2 * (p * ldb + c) + 1];
            for (int r = 0; r < Rows; ++r) {
                byReal[r][c] += x[r] * re;
                byImaginary[r][c] += x[r] * im;
            }
        }
    }
    alignas(Bytes) R crossed[lanes];
    for (int c = 0; c < Cols; ++c) {
        for (int r = 0; r < Rows; ++r) {
            R* const block = out + (c * Rows + r) * lanes;
            *reinterpret_cast<V*>(block) = byReal[r][c];
            *reinterpret_cast<V*>(crossed) = byImaginary[r][c];
            for (int l = 0; l < lanes; l += 2) {
                block[l] -= crossed[l + 1];
                block[l + 1] += crossed[l];
            }
        }
    }
}

/// The products of one descendant with one target, block by block.
template <class T, int Bytes, int TallRows>
struct RegisterKernel {
    using R = RealOf<T>;
    static constexpr int kLanes = Bytes / static_cast<int>(sizeof(T)); ///< elements of T in a vector

    const UpdateProduct<T>& product;
    const UpdateTarget<T>& target;

    // Rows [i, i + Rows*kLanes) of Cols columns from c on; of these, rows from `first` on are wanted.
    template <int Rows, int Cols>
    LINTRIX_ALWAYS_INLINE void block(int i, int first, int c) const
    {
        constexpr int tall = Rows * kLanes;
        alignas(Bytes) T out[tall * Cols];
        const auto* a = reinterpret_cast<const R*>(product.a + i);
        const auto* b = reinterpret_cast<const R*>(product.b + c);
        if constexpr (kIsComplex<T>) {
            multiplyComplexBlock<R, Bytes, Rows, Cols>(a, product.lda, b, product.ldb, product.w,
                                                       reinterpret_cast<R*>(out));
        } else {
            multiplyBlock<R, Bytes, Rows, Cols>(a, product.lda, b, product.ldb, product.w, out);
        }
        for (int q = 0; q < Cols; ++q) {
            T* const cells = target.cells + std::ptrdiff_t{target.ld} * target.column[c + q];
            for (int r = first - i; r < tall; ++r) cells[target.row[i + r]] -= out[q * tall + r];
        }
    }

    // Tall blocks first, then single vectors; the last vector reaches back over rows that are done or lie
    // above, rather than beyond the end.
    template <int Cols>
    LINTRIX_ALWAYS_INLINE void columns(int c, bool lowerTriangle) const
    {
        int i = lowerTriangle ? c : 0;
        for (; i + TallRows * kLanes <= product.m; i += TallRows * kLanes) block<TallRows, Cols>(i, i, c);
        for (; i + kLanes <= product.m; i += kLanes) block<1, Cols>(i, i, c);
        if (i < product.m) block<1, Cols>(product.m - kLanes, i, c);
    }

    LINTRIX_ALWAYS_INLINE void run(bool lowerTriangle) const
    {
        int c = 0;
        for (; c + 4 <= product.k; c += 4) columns<4>(c, lowerTriangle);
        if (c + 2 <= product.k) {
            columns<2>(c, lowerTriangle);
            c += 2;
        }
        if (c < product.k) columns<1>(c, lowerTriangle);
    }
};

/// Without vectors: what is shorter than one.
template <class T>
LINTRIX_ALWAYS_INLINE void runByElements(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                         bool lowerTriangle)
{
    for (int c = 0; c < product.k; ++c) {
        T* const cells = target.cells + std::ptrdiff_t{target.ld} * target.column[c];
        for (int p = 0; p < product.w; ++p) {
            const T* const a = product.a + std::ptrdiff_t{product.lda} * p;
            const T y = product.b[c + std::ptrdiff_t{product.ldb} * p];
            for (int i = lowerTriangle ? c : 0; i < product.m; ++i) {
                cells[target.row[i]] -= engine::product(a[i], y);
            }
        }
    }
}

} // namespace Velmar::Lintrix::detail::engine::update_kernel
