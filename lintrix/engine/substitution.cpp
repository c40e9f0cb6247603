#include <lintrix/engine/substitution.h>

#include <lintrix/engine/panel_solve.h>
#include <lintrix/engine/scalar.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdlib>

namespace Velmar::Lintrix::detail::engine {

namespace {

// A triangle of a supernode's block as one direction of the solve sees it, and the panel of rows below that
// goes with it.
template <class T>
struct Half {
    const T* block;
    int ldBlock;
    bool fromUpper; ///< the triangle is U' rather than L
    bool unit;      ///< its diagonal is 1
    const T* below;
    int ldBelow;
    const int* exchange; ///< null: none

    // Entry (i, j), i >= j, of the lower triangular factor.
    T entry(int i, int j) const
    {
        return fromUpper ? block[j + std::ptrdiff_t{ldBlock} * i] : block[i + std::ptrdiff_t{ldBlock} * j];
    }
};

template <class T>
class Substitution {
public:
    Substitution(const StoredFactor<T>& factor, bool transposed, const RightSides<T>& y, T* work)
        : factor_(factor), structure_(factor.structure), transposed_(transposed), y_(y), work_(work)
    {
    }

    void forward()
    {
        for (int J = 0; J < structure_.supernodes(); ++J) {
            const Half<T> half = halfOf(J, transposed_);
            exchangeForward(J, half.exchange);
            solveLower(J, half);
            subtractBelow(J, half);
        }
    }

    void backward()
    {
        for (int J = structure_.supernodes() - 1; J >= 0; --J) {
            const Half<T> half = isUnsymmetric(factor_.method) ? halfOf(J, !transposed_) : halfOf(J, false);
            const bool adjoint = !isUnsymmetric(factor_.method) && factor_.hermitian;
            gatherBelow(J, half, adjoint);
            solveLowerTransposed(J, half, adjoint);
            const int* const exchange = isUnsymmetric(factor_.method) ? backwardExchange(J) : half.exchange;
            exchangeBackward(J, exchange);
        }
    }

    void diagonal()
    {
        if (factor_.method != Method::DiagonalPivoting && factor_.method != Method::BunchKaufman) return;
        for (int J = 0; J < structure_.supernodes(); ++J) {

            const T* const block = factor_.panels.lower + factor_.lowerStarts[static_cast<std::size_t>(J)];
            divideByPivotsOf(block, J);
        }
    }

private:
    std::ptrdiff_t at(int position) const { return std::ptrdiff_t{position} * y_.count; }
    T* side(int position) const { return y_.cells + at(position); }

    const int* exchangesOf(const int* exchanges, int J) const { return exchanges + structure_.starts[J]; }

    // `second` chooses U' of an LU, with the column exchanges.
    Half<T> halfOf(int J, bool second) const
    {
        const int height = structure_.height(J), width = structure_.width(J);
        const T* const block = factor_.panels.lower + factor_.lowerStarts[static_cast<std::size_t>(J)];
        const bool cholesky = factor_.method == Method::Cholesky;
        if (!second) {
            return {block,
                    height,
                    false,
                    !cholesky,
                    block + width,
                    height,
                    cholesky ? nullptr : exchangesOf(factor_.panels.rowExchange, J)};
        }
        const T* const upper = factor_.panels.upper + factor_.upperStarts[static_cast<std::size_t>(J)];
        return {block, height, true, false, upper, height - width, columnExchangesOf(J)};
    }

    const int* columnExchangesOf(int J) const
    {
        return factor_.method == Method::CompletePivoting ? exchangesOf(factor_.panels.columnExchange, J)
                                                          : nullptr;
    }

    // What is undone after the backward step: Q for A itself, P' for its transpose.
    const int* backwardExchange(int J) const
    {
        return transposed_ ? exchangesOf(factor_.panels.rowExchange, J) : columnExchangesOf(J);
    }

    void exchangeSides(int first, int i, int exchange) const
    {
        const int with = std::abs(exchange) - 1;
        if (with != i) std::swap_ranges(side(first + i), side(first + i) + y_.count, side(first + with));
    }
    void exchangeForward(int J, const int* exchange) const
    {
        for (int i = 0; exchange != nullptr && i < structure_.width(J); ++i) {
            exchangeSides(structure_.starts[J], i, exchange[i]);
        }
    }
    void exchangeBackward(int J, const int* exchange) const
    {
        for (int i = structure_.width(J) - 1; exchange != nullptr && i >= 0; --i) {
            exchangeSides(structure_.starts[J], i, exchange[i]);
        }
    }

    void subtractMultiple(T by, const T* from, T* to) const
    {
        for (int c = 0; c < y_.count; ++c) to[c] -= product(by, from[c]);
    }
    void divide(T by, T* values) const
    {
        const T inverse = T(1) / by;
        for (int c = 0; c < y_.count; ++c) values[c] = product(values[c], inverse);
    }

    void solveLower(int J, const Half<T>& half) const
    {
        const int first = structure_.starts[J], width = structure_.width(J);
        for (int j = 0; j < width; ++j) {
            if (!half.unit) divide(half.entry(j, j), side(first + j));
            for (int i = j + 1; i < width; ++i)
                subtractMultiple(half.entry(i, j), side(first + j), side(first + i));
        }
    }

    void solveLowerTransposed(int J, const Half<T>& half, bool adjoint) const
    {
        const int first = structure_.starts[J], width = structure_.width(J);
        for (int j = width - 1; j >= 0; --j) {
            for (int i = j + 1; i < width; ++i) {
                subtractMultiple(conjugate(half.entry(i, j), adjoint), side(first + i), side(first + j));
            }
            if (!half.unit) divide(conjugate(half.entry(j, j), adjoint), side(first + j));
        }
    }

    // y(rows below) -= panel * y(J)
    void subtractBelow(int J, const Half<T>& half) const
    {
        const std::span<const int> rows = structure_.rowsBelow(J);
        const int width = structure_.width(J), below = static_cast<int>(rows.size());
        if (below == 0) return;
        const T* const own = side(structure_.starts[J]);
        if (width == 1) {
            for (int i = 0; i < below; ++i) subtractMultiple(half.below[i], own, side(rows[i]));
            return;
        }
        blas::gemm('N', 'T', y_.count, below, width, T(1), own, y_.count, half.below, half.ldBelow, T(0),
                   work_, y_.count);
        for (int i = 0; i < below; ++i) {
            T* const to = side(rows[i]);
            const T* const from = work_ + at(i);
            for (int c = 0; c < y_.count; ++c) to[c] -= from[c];
        }
    }

    // y(J) -= panel' * y(rows below)
    void gatherBelow(int J, const Half<T>& half, bool adjoint) const
    {
        const std::span<const int> rows = structure_.rowsBelow(J);
        const int width = structure_.width(J), below = static_cast<int>(rows.size());
        if (below == 0) return;
        T* const own = side(structure_.starts[J]);
        if (width == 1) {
            for (int i = 0; i < below; ++i) {
                subtractMultiple(conjugate(half.below[i], adjoint), side(rows[i]), own);
            }
            return;
        }
        for (int i = 0; i < below; ++i) {
            const T* const from = side(rows[i]);
            for (int c = 0; c < y_.count; ++c) work_[at(i) + c] = conjugate(from[c], adjoint);
        }
        // The product of conjugates is the conjugate of the product.
        if (adjoint) conjugateSides(own, width);
        blas::gemm('N', 'N', y_.count, width, below, T(-1), work_, y_.count, half.below, half.ldBelow, T(1),
                   own, y_.count);
        if (adjoint) conjugateSides(own, width);
    }

    void conjugateSides(T* values, int positions) const
    {
        std::transform(values, values + at(positions), values, [](T value) { return conjugate(value); });
    }

    void divideByPivotsOf(const T* block, int J) const
    {
        const int first = structure_.starts[J], width = structure_.width(J), ld = structure_.height(J);
        const int* const exchange = exchangesOf(factor_.panels.rowExchange, J);
        for (int j = 0; j < width;) {
            const T d0 = block[j + std::ptrdiff_t{ld} * j];
            if (exchange[j] > 0) {
                divide(d0, side(first + j));
                ++j;
                continue;
            }
            const T lower = block[j + std::ptrdiff_t{ld} * (j + 1)],
                    upper = conjugate(lower, factor_.hermitian);
            const T d1 = block[j + 1 + std::ptrdiff_t{ld} * (j + 1)];
            const T inverse = T(1) / (product(d0, d1) - product(lower, upper));
            T *const a = side(first + j), *const b = side(first + j + 1);
            for (int c = 0; c < y_.count; ++c) {
                const T x = a[c], z = b[c];
                a[c] = product(product(d1, x) - product(upper, z), inverse);
                b[c] = product(product(d0, z) - product(lower, x), inverse);
            }
            j += 2;
        }
    }

    const StoredFactor<T>& factor_;
    const FactorStructure& structure_;
    bool transposed_;
    RightSides<T> y_;
    T* work_;
};

} // namespace

template <class T>
void substituteForward(const StoredFactor<T>& factor, bool transposed, const RightSides<T>& y, T* work)
{
    Substitution<T>(factor, transposed, y, work).forward();
}

template <class T>
void substituteDiagonal(const StoredFactor<T>& factor, const RightSides<T>& y)
{
    Substitution<T>(factor, false, y, nullptr).diagonal();
}

template <class T>
void substituteBackward(const StoredFactor<T>& factor, bool transposed, const RightSides<T>& y, T* work)
{
    Substitution<T>(factor, transposed, y, work).backward();
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template void substituteForward(const StoredFactor<T>&, bool, const RightSides<T>&, T*);                 \
    template void substituteDiagonal(const StoredFactor<T>&, const RightSides<T>&);                          \
    template void substituteBackward(const StoredFactor<T>&, bool, const RightSides<T>&, T*);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
