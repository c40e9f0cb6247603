#pragma once
/// @file
/// The kernel of supernode_update.cpp: blocks of a product kept in vector registers while the sum over the
/// descendant's columns runs, and subtracted from there. Written once over vectors of any length; the source
/// compiles it for each instruction set.

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/supernode_update.h>

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>

#define LINTRIX_ALWAYS_INLINE [[gnu::always_inline]] inline
#define LINTRIX_INLINE_LAMBDA __attribute__((always_inline)) // has the instruction set of where it stands

namespace Velmar::Lintrix::detail::engine::update_kernel {

/// Vectors of `Bytes` bytes.
template <class R, int Bytes>
struct Vectors {
    typedef R Register __attribute__((vector_size(Bytes)));
    /// Wherever a number may stand. Reached through pointers to this very name and copied from there: the
    /// attribute is no part of the type, so that a reference in a signature, and what a template deduces,
    /// promises the alignment of a register.
    typedef R Memory __attribute__((vector_size(Bytes), aligned(sizeof(R)), may_alias));
    static constexpr int kLanes = Bytes / static_cast<int>(sizeof(R));
};

// body(0), ..., body(Count - 1), each number a constant. What is indexed by constants alone stays in
// registers; of loops within loops no optimizer promises that, and sums that pass through memory cost more
// than those of few columns themselves.
template <int Count, class Body>
LINTRIX_ALWAYS_INLINE void unrolled(Body body)
{
    [&]<int... I>(std::integer_sequence<int, I...>) LINTRIX_INLINE_LAMBDA
    {
        (body(std::integral_constant<int, I>{}), ...);
    }
    (std::make_integer_sequence<int, Count>{});
}

// sum[r][c] = sum over p of the r-th vector of a's rows times b(c, p); real numbers.
template <class R, int Bytes, int Rows, int Cols>
LINTRIX_ALWAYS_INLINE void multiplyBlock(const R* a, std::ptrdiff_t lda, const R* b, std::ptrdiff_t ldb,
                                         int w, typename Vectors<R, Bytes>::Register (&sum)[Rows][Cols])
{
    using V = typename Vectors<R, Bytes>::Register;
    using Memory = typename Vectors<R, Bytes>::Memory;
    constexpr int lanes = Vectors<R, Bytes>::kLanes;
    unrolled<Rows * Cols>([&](auto q) LINTRIX_INLINE_LAMBDA { sum[q / Cols][q % Cols] = V{}; });
    for (int p = 0; p < w; ++p) {
        V x[Rows];
        unrolled<Rows>([&](auto r) LINTRIX_INLINE_LAMBDA {
            x[r] = *reinterpret_cast<const Memory*>(a + p * lda + r * lanes);
        });
        unrolled<Cols>([&](auto c) LINTRIX_INLINE_LAMBDA {
            const R y = b[p * ldb + c];
            unrolled<Rows>([&](auto r) LINTRIX_INLINE_LAMBDA { sum[r][c] += x[r] * y; });
        });
    }
}

// sum += i*x, pair by pair: (re, im) -> (-im, re).
template <class R, int Bytes, int... Lane>
LINTRIX_ALWAYS_INLINE void addTimesI(typename Vectors<R, Bytes>::Register& sum,
                                     const typename Vectors<R, Bytes>::Register& x,
                                     std::integer_sequence<int, Lane...>)
{
    using V = typename Vectors<R, Bytes>::Register;
    sum += __builtin_shufflevector(x, x, (Lane ^ 1)...) * V{(Lane % 2 == 0 ? -1 : 1)...};
}

// The same for complex numbers, all pointers to real and imaginary parts in turn: one sum with the real parts
// of b, one with the imaginary, joined at the end.
template <class R, int Bytes, int Rows, int Cols>
LINTRIX_ALWAYS_INLINE void multiplyComplexBlock(const R* a, std::ptrdiff_t lda, const R* b,
                                                std::ptrdiff_t ldb, int w,
                                                typename Vectors<R, Bytes>::Register (&sum)[Rows][Cols])
{
    using V = typename Vectors<R, Bytes>::Register;
    using Memory = typename Vectors<R, Bytes>::Memory;
    constexpr int lanes = Vectors<R, Bytes>::kLanes;
    V byImaginary[Rows][Cols];
    unrolled<Rows * Cols>([&](auto q) LINTRIX_INLINE_LAMBDA {
        sum[q / Cols][q % Cols] = byImaginary[q / Cols][q % Cols] = V{};
    });
    for (int p = 0; p < w; ++p) {
        V x[Rows];
        unrolled<Rows>([&](auto r) LINTRIX_INLINE_LAMBDA {
            x[r] = *reinterpret_cast<const Memory*>(a + 2 * p * lda + r * lanes);
        });
        unrolled<Cols>([&](auto c) LINTRIX_INLINE_LAMBDA {
            const R re = b[2 * (p * ldb + c)], im = b[2 * (p * ldb + c) + 1];
            unrolled<Rows>([&](auto r) LINTRIX_INLINE_LAMBDA {
                sum[r][c] += x[r] * re;
                byImaginary[r][c] += x[r] * im;
            });
        });
    }
    unrolled<Rows * Cols>([&](auto q) LINTRIX_INLINE_LAMBDA {
        addTimesI<R, Bytes>(sum[q / Cols][q % Cols], byImaginary[q / Cols][q % Cols],
                            std::make_integer_sequence<int, lanes>());
    });
}

/// The products of one descendant with one target, block by block of `Rows` vectors by `Cols` columns, which
/// fill the registers.
template <class T, int Bytes, int Rows, int Cols>
class VectorKernel {
public:
    static constexpr int kLanes = Bytes / static_cast<int>(sizeof(T)); ///< elements of T in a vector
    static constexpr int kTall = Rows * kLanes;

    VectorKernel(const UpdateProduct<T>& product, const UpdateTarget<T>& target)
        : product_(product), target_(target), columnsAhead_(product.w * Cols / product.k + 1)
    {
    }

    /// Few rows: factors where they lie, one group of columns after another.
    LINTRIX_ALWAYS_INLINE void runInPlace(bool lowerTriangle) const
    {
        int c = 0;
        for (const UpdatePanel<T> panel : target_.panels) {
            const int end = c + panel.columns;
            for (; c + Cols <= end; c += Cols) columnsInPlace<Cols>(panel, c, lowerTriangle);
            if constexpr (Cols > 4) c += columnsIfLeft<4>(panel, c, end, lowerTriangle);
            if constexpr (Cols > 2) c += columnsIfLeft<2>(panel, c, end, lowerTriangle);
            c += columnsIfLeft<1>(panel, c, end, lowerTriangle);
        }
    }

    /// Many rows: b is packed by groups of columns, and a block of rows stays in the cache while they pass;
    /// it is packed, too, where there are many groups.
    LINTRIX_ALWAYS_INLINE void runPacked(bool lowerTriangle, T* work) const
    {
        T* const rows = work;
        T* const groups = work + std::ptrdiff_t{kTall} * product_.w;
        packColumns(groups);
        const bool packs = product_.k > kGroupsInPlace * Cols;
        int i = target_.panels.front().firstRow;
        for (; i + kTall <= product_.m; i += kTall) {
            const T* a = product_.a + i;
            std::ptrdiff_t lda = product_.lda;
            if (packs) {
                packRows(i, rows);
                a = rows;
                lda = kTall;
            }
            passTall(a, lda, groups, i, lowerTriangle);
        }
        for (; i + kLanes <= product_.m; i += kLanes)
            passVector(product_.a + i, product_.lda, groups, i, i, lowerTriangle);
        if (i < product_.m)
            passVector(product_.a + product_.m - kLanes, product_.lda, groups, product_.m - kLanes, i,
                       lowerTriangle);
    }

private:
    using R = RealOf<T>;
    using V = typename Vectors<R, Bytes>::Register;
    using Memory = typename Vectors<R, Bytes>::Memory;
    static constexpr int kGroupsInPlace = 3;
    static constexpr int kLeastToPrefetch = 16; // columns summed over: fewer do not cover the way

    // Rows [i, i + TheseRows*kLanes) of TheseCols columns from c on, of which `wanted` count; of the rows,
    // those from `first` on.
    template <int TheseRows, int TheseCols>
    LINTRIX_ALWAYS_INLINE void block(UpdatePanel<T> panel, const T* a, std::ptrdiff_t lda, const T* b,
                                     std::ptrdiff_t ldb, int i, int first, int c, int wanted) const
    {
        V sum[TheseRows][TheseCols];
        const bool together = first <= i && areNeighbours<TheseRows * kLanes>(i);
        if (together && product_.w >= kLeastToPrefetch) prefetch<TheseRows, TheseCols>(panel, i, c, wanted);
        if constexpr (kIsComplex<T>) {
            multiplyComplexBlock<R, Bytes, TheseRows, TheseCols>(
                reinterpret_cast<const R*>(a), lda, reinterpret_cast<const R*>(b), ldb, product_.w, sum);
        } else {
            multiplyBlock<R, Bytes, TheseRows, TheseCols>(a, lda, b, ldb, product_.w, sum);
        }
        if (together) return subtractTogether(panel, sum, i, c, wanted);
        unrolled<TheseRows>([&](auto r) LINTRIX_INLINE_LAMBDA {
            subtract<TheseCols>(panel, sum[r], i + r * kLanes, first, c, wanted);
        });
    }

    // Whether the target has the rows [i, i + Count) side by side.
    template <int Count>
    LINTRIX_ALWAYS_INLINE bool areNeighbours(int i) const
    {
        return target_.row[i + Count - 1] - target_.row[i] == Count - 1;
    }

    // The target's block is far from the processor where panels outgrow its caches; it comes while the
    // product is formed.
    template <int TheseRows, int TheseCols>
    LINTRIX_ALWAYS_INLINE void prefetch(UpdatePanel<T> panel, int i, int c, int wanted) const
    {
        constexpr int kForWriting = 1;
        for (int q = 0; q < TheseCols; ++q) {
            if (q == wanted) break;
            const T* const cells = column(panel, c + q) + target_.row[i];
            for (int r = 0; r < TheseRows; ++r) __builtin_prefetch(cells + r * kLanes, kForWriting);
            __builtin_prefetch(cells + TheseRows * kLanes - 1, kForWriting);
        }
    }

    // All rows of the block at once.
    template <int TheseRows, int TheseCols>
    LINTRIX_ALWAYS_INLINE void subtractTogether(UpdatePanel<T> panel, const V (&sum)[TheseRows][TheseCols],
                                                int i, int c, int wanted) const
    {
        unrolled<TheseCols>([&](auto q) LINTRIX_INLINE_LAMBDA {
            if (q >= wanted) return;
            T* const cells = column(panel, c + q) + target_.row[i];
            unrolled<TheseRows>([&](auto r) LINTRIX_INLINE_LAMBDA {
                *reinterpret_cast<Memory*>(cells + r * kLanes) -= sum[r][q];
            });
        });
    }

    // One vector of rows from i on: at once where the target has them side by side.
    template <int TheseCols>
    LINTRIX_ALWAYS_INLINE void subtract(UpdatePanel<T> panel, const V (&sum)[TheseCols], int i, int first,
                                        int c, int wanted) const
    {
        const int* const row = target_.row + i;
        if (first <= i && areNeighbours<kLanes>(i)) {
            unrolled<TheseCols>([&](auto q) LINTRIX_INLINE_LAMBDA {
                if (q < wanted) *reinterpret_cast<Memory*>(column(panel, c + q) + row[0]) -= sum[q];
            });
            return;
        }
        alignas(Bytes) T kept[TheseCols][kLanes];
        unrolled<TheseCols>([&](auto q)
                                LINTRIX_INLINE_LAMBDA { *reinterpret_cast<Memory*>(kept[q]) = sum[q]; });
        for (int q = 0; q < wanted; ++q) {
            T* const cells = column(panel, c + q);
            for (int r = std::max(0, first - i); r < kLanes; ++r) cells[row[r]] -= kept[q][r];
        }
    }

    T* column(UpdatePanel<T> panel, int c) const
    {
        return panel.cells + std::ptrdiff_t{panel.ld} * target_.row[c];
    }

    // Tall blocks first, then single vectors; the last vector reaches back over rows that are done or lie
    // above, rather than beyond the end.
    template <int TheseCols>
    LINTRIX_ALWAYS_INLINE void columnsInPlace(UpdatePanel<T> panel, int c, bool lowerTriangle) const
    {
        const T *const a = product_.a, *const b = product_.b + c;
        const int lda = product_.lda, ldb = product_.ldb, last = product_.m - kLanes;
        int i = lowerTriangle ? std::max(c, panel.firstRow) : panel.firstRow;
        for (; i + kTall <= product_.m; i += kTall)
            block<Rows, TheseCols>(panel, a + i, lda, b, ldb, i, i, c, TheseCols);
        for (; i <= last; i += kLanes) block<1, TheseCols>(panel, a + i, lda, b, ldb, i, i, c, TheseCols);
        if (i < product_.m) block<1, TheseCols>(panel, a + last, lda, b, ldb, last, i, c, TheseCols);
    }

    template <int TheseCols>
    LINTRIX_ALWAYS_INLINE int columnsIfLeft(UpdatePanel<T> panel, int c, int end, bool lowerTriangle) const
    {
        if (c + TheseCols > end) return 0;
        columnsInPlace<TheseCols>(panel, c, lowerTriangle);
        return TheseCols;
    }

    // Rows [i, i + kTall), the packed groups of all panels. Where a panel begins among the rows they pass
    // vector by vector, so that elsewhere it is known that all count.
    LINTRIX_ALWAYS_INLINE void passTall(const T* a, std::ptrdiff_t lda, const T* groups, int i,
                                        bool lowerTriangle) const
    {
        int c = 0;
        for (const UpdatePanel<T> panel : target_.panels) {
            if (panel.firstRow <= i) {
                passGroups<Rows>(panel, a, lda, groups, i, i, c, lowerTriangle);
            } else {
                for (int r = 0; r < kTall; r += kLanes)
                    passBeginning(panel, a + r, lda, groups, i + r, i + r, c, lowerTriangle);
            }
            groups += packedSize(panel);
            c += panel.columns;
        }
    }

    // The same for a single vector, of which the rows from `first` on count.
    LINTRIX_ALWAYS_INLINE void passVector(const T* a, std::ptrdiff_t lda, const T* groups, int i, int first,
                                          bool lowerTriangle) const
    {
        int c = 0;
        for (const UpdatePanel<T> panel : target_.panels) {
            passBeginning(panel, a, lda, groups, i, first, c, lowerTriangle);
            groups += packedSize(panel);
            c += panel.columns;
        }
    }

    LINTRIX_ALWAYS_INLINE void passBeginning(UpdatePanel<T> panel, const T* a, std::ptrdiff_t lda,
                                             const T* groups, int i, int first, int c,
                                             bool lowerTriangle) const
    {
        first = std::max(first, panel.firstRow);
        if (first < i + kLanes) passGroups<1>(panel, a, lda, groups, i, first, c, lowerTriangle);
    }

    // All groups of a panel that have rows in the block; in the lower triangle none that begins behind it.
    template <int TheseRows>
    LINTRIX_ALWAYS_INLINE void passGroups(UpdatePanel<T> panel, const T* a, std::ptrdiff_t lda,
                                          const T* groups, int i, int first, int c, bool lowerTriangle) const
    {
        const int columnsEnd = c + panel.columns;
        const int end = lowerTriangle ? std::min(columnsEnd, i + TheseRows * kLanes) : columnsEnd;
        for (; c < end; c += Cols, groups += std::ptrdiff_t{Cols} * product_.w) {
            block<TheseRows, Cols>(panel, a, lda, groups, Cols, i, first, c, std::min(Cols, columnsEnd - c));
            if constexpr (TheseRows == Rows) prefetchRows(i + kTall, c);
        }
    }

    std::ptrdiff_t packedSize(UpdatePanel<T> panel) const
    {
        return std::ptrdiff_t{(panel.columns + Cols - 1) / Cols * Cols} * product_.w;
    }

    // Groups of Cols columns, the last of each panel filled up with zeros.
    LINTRIX_ALWAYS_INLINE void packColumns(T* groups) const
    {
        int c = 0;
        for (const UpdatePanel<T> panel : target_.panels) {
            const int end = c + panel.columns;
            for (; c < end; c += Cols) {
                const int wanted = std::min(Cols, end - c);
                for (int p = 0; p < product_.w; ++p, groups += Cols) {
                    const T* const b = product_.b + std::ptrdiff_t{product_.ldb} * p + c;
                    for (int q = 0; q < Cols; ++q) groups[q] = q < wanted ? b[q] : T(0);
                }
            }
            c = end;
        }
    }

    LINTRIX_ALWAYS_INLINE void packRows(int i, T* rows) const
    {
        for (int p = 0; p < product_.w; ++p, rows += kTall) {
            const T* const a = product_.a + std::ptrdiff_t{product_.lda} * p + i;
            for (int r = 0; r < kTall; r += kLanes)
                *reinterpret_cast<Memory*>(rows + r) = *reinterpret_cast<const Memory*>(a + r);
        }
    }

    // Of the rows [i, i + kTall) what falls to the group at column c, so that all are near once the groups
    // have passed: each column is on a page of its own, where the processor does not look ahead for as few
    // lines as a block takes of it.
    LINTRIX_ALWAYS_INLINE void prefetchRows(int i, int c) const
    {
        constexpr int kForReading = 0, kToSecondLevel = 2;
        const int first = c / Cols * columnsAhead_, last = std::min(product_.w, first + columnsAhead_);
        for (int p = first; p < last; ++p) {
            const T* const a = product_.a + std::ptrdiff_t{product_.lda} * p + i;
            for (int r = 0; r < kTall; r += kLanes) __builtin_prefetch(a + r, kForReading, kToSecondLevel);
            __builtin_prefetch(a + kTall - 1, kForReading, kToSecondLevel);
        }
    }

    const UpdateProduct<T>& product_;
    const UpdateTarget<T>& target_;
    const int columnsAhead_; // of a, by which a group brings the next rows near
};

/// sum += x*y; a complex sum is kept as those with the real and with the imaginary part of y.
template <class T>
class NumberSum {
public:
    LINTRIX_ALWAYS_INLINE void add(const T* x, const T* y)
    {
        const V number = *reinterpret_cast<const Memory*>(x);
        if constexpr (kIsComplex<T>) {
            byReal_ += number * y->real();
            byImaginary_ += number * y->imag();
        } else {
            byReal_ += number * *y;
        }
    }
    LINTRIX_ALWAYS_INLINE void subtractFrom(T* cell)
    {
        if constexpr (kIsComplex<T>)
            addTimesI<R, sizeof(T)>(byReal_, byImaginary_, std::integer_sequence<int, 0, 1>());
        *reinterpret_cast<Memory*>(cell) -= byReal_;
    }

private:
    using R = RealOf<T>;
    using V = typename Vectors<R, sizeof(T)>::Register;
    using Memory = typename Vectors<R, sizeof(T)>::Memory;
    V byReal_{}, byImaginary_{};
};

template <class T>
LINTRIX_ALWAYS_INLINE void subtractFrom(T* cell, const T* x, const T& y)
{
    NumberSum<T> sum;
    sum.add(x, &y);
    sum.subtractFrom(cell);
}

/// A column gives to one column.
template <class T>
LINTRIX_ALWAYS_INLINE void runByColumns(const T* l, const T* u, const T& factor, const int* rows, int m,
                                        const ColumnTarget<T>& target)
{
    subtractFrom(target.lower + target.place[rows[0]], l, factor);
    if (target.upper == nullptr) {
        for (int i = 1; i < m; ++i) subtractFrom(target.lower + target.place[rows[i]], l + i, factor);
        return;
    }
    for (int i = 1; i < m; ++i) {
        const std::ptrdiff_t place = target.place[rows[i]];
        subtractFrom(target.lower + place, l + i, factor);
        subtractFrom(target.upper + place, u + i, *l);
    }
}

/// Number by number: for few rows.
template <class T>
LINTRIX_ALWAYS_INLINE void runByNumbers(const UpdateProduct<T>& product, const UpdateTarget<T>& target,
                                        bool lowerTriangle)
{
    int c = 0;
    for (const UpdatePanel<T> panel : target.panels) {
        for (const int end = c + panel.columns; c < end; ++c) {
            T* const cells = panel.cells + std::ptrdiff_t{panel.ld} * target.row[c];
            for (int i = lowerTriangle ? std::max(c, panel.firstRow) : panel.firstRow; i < product.m; ++i) {
                NumberSum<T> sum;
                for (std::ptrdiff_t p = 0; p < product.w; ++p)
                    sum.add(product.a + i + product.lda * p, product.b + c + product.ldb * p);
                sum.subtractFrom(cells + target.row[i]);
            }
        }
    }
}

} // namespace Velmar::Lintrix::detail::engine::update_kernel
