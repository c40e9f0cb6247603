// Optimised builds contract a*b + c to one rounding, which the vector kernels live by.

#include <lintrix/engine/solution/substitution.h>

#include <lintrix/engine/call/division.h>
#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/pivot_pair.h>
#include <lintrix/engine/solution/substitution_kernel.h>
#include <lintrix/services/dispatch.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdlib>
#include <type_traits>

namespace Velmar::Lintrix::detail::engine {

namespace {

using substitution_kernel::OneSide;
using substitution_kernel::SideBlock;

constexpr bool hasD(Method method)
{
    return method == Method::DiagonalPivoting || method == Method::BunchKaufman;
}

template <class T>
void divideByPivotsOf(const StoredFactor<T>& factor, int J, const RightSides<T>& y)
{
    const FactorStructure& structure = factor.structure;
    const int first = structure.starts[J], width = structure.width(J);
    const std::ptrdiff_t ld = structure.height(J);
    const T* const block = factor.panels.lower + factor.lowerStarts[J];
    const int* const exchange = factor.panels.rowExchange + first;
    for (int j = 0; j < width;) {
        T* const own = y.cells + std::ptrdiff_t{first + j} * y.count;
        if (exchange[j] > 0) {
            divideByInverse(block[j + ld * j], own, y.count);
            ++j;
            continue;
        }
        const PivotPair<T> pair = pivotPairAt(block, ld, j, factor.hermitian);
        for (int c = 0; c < y.count; ++c) pair.divideColumn(own[c], own[y.count + c]);
        j += 2;
    }
}

// Columns are taken a few at a time: first the small triangle where they meet, then all the rows that they
// reach, or the other way round. Everything is inlined into functions for one instruction set each.
template <class T, class Kernel>
class Substitution {
public:
    LINTRIX_ALWAYS_INLINE Substitution(const StoredFactor<T>& factor, bool transposed, T* y)
        : factor_(factor), structure_(factor.structure), transposed_(transposed),
          unsymmetric_(isUnsymmetric(factor.method)), hasUnitDiagonal_(factor.method != Method::Cholesky),
          y_(y)
    {
    }

    LINTRIX_ALWAYS_INLINE void forward(SupernodeRange range) const
    {
        for (int J = range.first; J <= range.last; ++J) {
            const Supernode node = nodeOf(J);
            exchange<true>(node, transposed_ ? columnExchanges(node) : rowExchanges(node));
            if (transposed_) {
                forwardByUpper(node);
            } else {
                forwardByLower(node);
            }
        }
    }

    LINTRIX_ALWAYS_INLINE void backward(SupernodeRange range) const
    {
        for (int J = range.last; J >= range.first; --J) {
            const Supernode node = nodeOf(J);
            if (unsymmetric_ && !transposed_) {
                backwardByUpper(node);
            } else {
                backwardByLower(node);
            }
            exchange<false>(node, unsymmetric_ && !transposed_ ? columnExchanges(node) : rowExchanges(node));
        }
    }

private:
    static constexpr int kSides = Kernel::kSides;

    struct Supernode {
        int J, first, width, height;
        const int* rows; // its own columns, then the rows below
        const T* block;  // the panel of L, with height as leading dimension

        const T* column(int j) const { return block + std::ptrdiff_t{height} * j; }
        int below() const { return height - width; }
    };

    LINTRIX_ALWAYS_INLINE Supernode nodeOf(int J) const
    {
        return {J,
                structure_.starts[J],
                structure_.width(J),
                structure_.height(J),
                structure_.rows.data() + structure_.rowStarts[J],
                factor_.panels.lower + factor_.lowerStarts[J]};
    }

    LINTRIX_ALWAYS_INLINE T* side(int position) const { return y_ + std::ptrdiff_t{position} * kSides; }

    const int* rowExchanges(const Supernode& node) const
    {
        return factor_.method == Method::Cholesky ? nullptr : factor_.panels.rowExchange + node.first;
    }
    const int* columnExchanges(const Supernode& node) const
    {
        return factor_.method == Method::CompletePivoting ? factor_.panels.columnExchange + node.first
                                                          : nullptr;
    }
    template <bool Upwards>
    LINTRIX_ALWAYS_INLINE void exchange(const Supernode& node, const int* exchanges) const
    {
        if (exchanges == nullptr || node.width == 1) return;
        for (int k = 0; k < node.width; ++k) {
            const int i = Upwards ? k : node.width - 1 - k, with = std::abs(exchanges[i]) - 1;
            if (with != i) {
                std::swap_ranges(side(node.first + i), side(node.first + i) + kSides,
                                 side(node.first + with));
            }
        }
    }

    // Calls step(the number of columns to take), a constant.
    template <class Step>
    LINTRIX_ALWAYS_INLINE static int take(int left, const Step& step)
    {
        if constexpr (Kernel::kMostColumns >= 8) {
            if (left >= 8) return step(std::integral_constant<int, 8>());
        }
        if constexpr (Kernel::kMostColumns >= 4) {
            if (left >= 4) return step(std::integral_constant<int, 4>());
            if (left == 3) return step(std::integral_constant<int, 3>());
        }
        return left >= 2 ? step(std::integral_constant<int, 2>()) : step(std::integral_constant<int, 1>());
    }

    LINTRIX_ALWAYS_INLINE static void subtractMultiple(T by, const T* from, T* to)
    {
        for (int c = 0; c < kSides; ++c) to[c] -= product(by, from[c]);
    }
    LINTRIX_ALWAYS_INLINE static void divide(T by, T* values) { divideByInverse(by, values, kSides); }

    // x := inv(L)*x, a triangle of C columns at t.
    template <int C>
    LINTRIX_ALWAYS_INLINE void solveLower(const T* t, std::ptrdiff_t ld, T* x) const
    {
        for (int j = 0; j < C; ++j) {
            if (!hasUnitDiagonal_) divide(t[j + ld * j], x + j * kSides);
            for (int i = j + 1; i < C; ++i) subtractMultiple(t[i + ld * j], x + j * kSides, x + i * kSides);
        }
    }
    // x := inv(L')*x, or with the adjoint.
    template <int C>
    LINTRIX_ALWAYS_INLINE void solveLowerTransposed(const T* t, std::ptrdiff_t ld, T* x, bool adjoint) const
    {
        for (int j = C - 1; j >= 0; --j) {
            for (int i = j + 1; i < C; ++i) {
                subtractMultiple(conjugate(t[i + ld * j], adjoint), x + i * kSides, x + j * kSides);
            }
            if (!hasUnitDiagonal_) divide(conjugate(t[j + ld * j], adjoint), x + j * kSides);
        }
    }
    // x := inv(U)*x
    template <int C>
    LINTRIX_ALWAYS_INLINE static void solveUpper(const T* t, std::ptrdiff_t ld, T* x)
    {
        for (int j = C - 1; j >= 0; --j) {
            divide(t[j + ld * j], x + j * kSides);
            for (int i = 0; i < j; ++i) subtractMultiple(t[i + ld * j], x + j * kSides, x + i * kSides);
        }
    }
    // x := inv(U')*x
    template <int C>
    LINTRIX_ALWAYS_INLINE static void solveUpperTransposed(const T* t, std::ptrdiff_t ld, T* x)
    {
        for (int j = 0; j < C; ++j) {
            for (int i = 0; i < j; ++i) subtractMultiple(t[i + ld * j], x + i * kSides, x + j * kSides);
            divide(t[j + ld * j], x + j * kSides);
        }
    }

    LINTRIX_ALWAYS_INLINE void forwardByLower(const Supernode& node) const
    {
        for (int j = 0; j < node.width;) {
            j += take(
                node.width - j, [&](auto columns) __attribute__((always_inline)) {
                    constexpr int C = columns;
                    T* const own = side(node.first + j);
                    const int next = j + C;
                    solveLower<C>(node.column(j) + j, node.height, own);
                    Kernel::template subtractRows<C>(node.column(j) + next, node.height, node.height - next,
                                                     node.rows + next, own, y_);
                    return C;
                });
        }
    }

    // U' of an LU: its triangle stands in the block, the rest in a panel of its own.
    LINTRIX_ALWAYS_INLINE void forwardByUpper(const Supernode& node) const
    {
        const T* const upper = factor_.panels.upper + factor_.upperStarts[node.J];
        const std::ptrdiff_t below = node.below();
        for (int j = 0; j < node.width;) {
            j += take(
                node.width - j, [&](auto columns) __attribute__((always_inline)) {
                    constexpr int C = columns;
                    T* const own = side(node.first + j);
                    Kernel::template subtractColumns<C>(node.column(j), node.height, j, node.rows, own, y_,
                                                        false);
                    solveUpperTransposed<C>(node.column(j) + j, node.height, own);
                    Kernel::template subtractRows<C>(upper + below * j, below, node.below(),
                                                     node.rows + node.width, own, y_);
                    return C;
                });
        }
    }

    LINTRIX_ALWAYS_INLINE void backwardByLower(const Supernode& node) const
    {
        const bool adjoint = factor_.hermitian && !unsymmetric_;
        for (int next = node.width; next > 0;) {
            next -= take(
                next, [&](auto columns) __attribute__((always_inline)) {
                    constexpr int C = columns;
                    const int j = next - C;
                    T* const own = side(node.first + j);
                    Kernel::template subtractColumns<C>(node.column(j) + next, node.height,
                                                        node.height - next, node.rows + next, own, y_,
                                                        adjoint);
                    solveLowerTransposed<C>(node.column(j) + j, node.height, own, adjoint);
                    return C;
                });
        }
    }

    LINTRIX_ALWAYS_INLINE void backwardByUpper(const Supernode& node) const
    {
        const T* const upper = factor_.panels.upper + factor_.upperStarts[node.J];
        const std::ptrdiff_t below = node.below();
        for (int next = node.width; next > 0;) {
            next -= take(
                next, [&](auto columns) __attribute__((always_inline)) {
                    constexpr int C = columns;
                    const int j = next - C;
                    T* const own = side(node.first + j);
                    Kernel::template subtractColumns<C>(upper + below * j, below, node.below(),
                                                        node.rows + node.width, own, y_, false);
                    solveUpper<C>(node.column(j) + j, node.height, own);
                    Kernel::template subtractRows<C>(node.column(j), node.height, j, node.rows, own, y_);
                    return C;
                });
        }
    }

    const StoredFactor<T>& factor_;
    const FactorStructure& structure_;
    bool transposed_, unsymmetric_, hasUnitDiagonal_;
    T* y_;
};

template <class T>
using Pass = void (*)(const StoredFactor<T>&, bool transposed, T* y, SupernodeRange);

template <class T, class Kernel>
LINTRIX_FOR_AVX2_AND_FMA void forwardAvx2(const StoredFactor<T>& factor, bool transposed, T* y,
                                          SupernodeRange range)
{
    Substitution<T, Kernel>(factor, transposed, y).forward(range);
}
template <class T, class Kernel>
LINTRIX_FOR_AVX2_AND_FMA void backwardAvx2(const StoredFactor<T>& factor, bool transposed, T* y,
                                           SupernodeRange range)
{
    Substitution<T, Kernel>(factor, transposed, y).backward(range);
}
template <class T, class Kernel>
void forwardSse2(const StoredFactor<T>& factor, bool transposed, T* y, SupernodeRange range)
{
    Substitution<T, Kernel>(factor, transposed, y).forward(range);
}
template <class T, class Kernel>
void backwardSse2(const StoredFactor<T>& factor, bool transposed, T* y, SupernodeRange range)
{
    Substitution<T, Kernel>(factor, transposed, y).backward(range);
}

template <class T>
struct Passes {
    Pass<T> forward, backward;
};

// With a kernel for registers of 32 bytes and one for those of 16.
template <class T, class Kernel, class NarrowKernel = Kernel>
Passes<T> passesWith()
{
    constexpr Passes<T> avx2{forwardAvx2<T, Kernel>, backwardAvx2<T, Kernel>};
    constexpr KernelForms<Passes<T>> forms{
        .sse2 = {forwardSse2<T, NarrowKernel>, backwardSse2<T, NarrowKernel>}, .avx2 = avx2, .avx512 = avx2};
    return forms.chosen();
}

template <class T, int Sides>
Passes<T> passesOfBlock()
{
    return passesWith<T, SideBlock<T, Sides, 32>, SideBlock<T, Sides, 16>>();
}

template <class T>
Passes<T> passesFor(int sides)
{
    if constexpr (kIsComplex<T>) {
        if (sides == 1) return passesOfBlock<T, 1>();
        if (sides == 2) return passesOfBlock<T, 2>();
    } else {
        if (sides == 1) return passesWith<T, OneSide<T>>();
    }
    return sides == 4 ? passesOfBlock<T, 4>() : passesOfBlock<T, kSidesAtOnce>();
}

// Cells of L's panel and of what stands for U's, which one pass goes by.
template <class T>
double cellsOf(const StoredFactor<T>& factor, int J)
{
    return static_cast<double>(factor.structure.height(J)) * factor.structure.width(J);
}

// Calls pass(first, last) for stretches of about so many cells in the order of `step`, 1 or -1, as long as
// the work goes on. Without anybody who hears of it the range is one stretch, but for `together` supernodes
// at most.
template <class T, class Pass>
void passInStretches(const StoredFactor<T>& factor, SupernodeRange range, int count, int step, int together,
                     const Pass& pass)
{
    constexpr double kStretch = 1 << 20; // below a millisecond
    const WorkMeter* const work = factor.work != nullptr && factor.work->isHeard() ? factor.work : nullptr;
    const int behind = step > 0 ? range.last + 1 : range.first - 1;
    for (int J = step > 0 ? range.first : range.last, begin = J; J != behind; begin = J) {
        double cells = 0.0;
        for (int number = 0; J != behind && number < together && cells < kStretch; J += step, ++number)
            cells += work != nullptr ? cellsOf(factor, J) * count : 0.0;
        pass(SupernodeRange{std::min(begin, J - step), std::max(begin, J - step)});
        if (work != nullptr && !work->add(cells)) return;
    }
}

} // namespace

template <class T>
void substituteForward(const StoredFactor<T>& factor, bool transposed, const RightSides<T>& y,
                       SupernodeRange range)
{
    const Pass<T> pass = passesFor<T>(y.count).forward;
    passInStretches(factor, range, y.count, 1, factor.structure.supernodes(),
                    [&](SupernodeRange stretch) { pass(factor, transposed, y.cells, stretch); });
}

template <class T>
void substituteDiagonal(const StoredFactor<T>& factor, const RightSides<T>& y, SupernodeRange range)
{
    if (!hasD(factor.method)) return;
    for (int J = range.first; J <= range.last; ++J) divideByPivotsOf(factor, J, y);
}

template <class T>
void substituteBackward(const StoredFactor<T>& factor, bool transposed, const RightSides<T>& y,
                        SupernodeRange range, BeforeTriangle before)
{
    // The division stays out of the kernels: there it would round with their fused operations, and the parts
    // of a solve in turn would have other bits than the whole. A few panels at a time are still in the cache.
    const bool divides = before == BeforeTriangle::DivideByD && hasD(factor.method);
    const int together = divides ? 64 : factor.structure.supernodes();
    const Pass<T> pass = passesFor<T>(y.count).backward;
    passInStretches(factor, range, y.count, -1, together, [&](SupernodeRange stretch) {
        if (divides) substituteDiagonal(factor, y, stretch);
        pass(factor, transposed, y.cells, stretch);
    });
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template void substituteForward(const StoredFactor<T>&, bool, const RightSides<T>&, SupernodeRange);     \
    template void substituteDiagonal(const StoredFactor<T>&, const RightSides<T>&, SupernodeRange);          \
    template void substituteBackward(const StoredFactor<T>&, bool, const RightSides<T>&, SupernodeRange,     \
                                     BeforeTriangle);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
