#include <lintrix/engine/factorization/panel_solve.h>

#include <lintrix/engine/call/scalar.h>
#include <lintrix/engine/factorization/column_kernel.h>
#include <lintrix/engine/factorization/pivot_pair.h>
#include <lintrix/services/blas.h>
#include <lintrix/services/dispatch.h>
#include <lintrix/services/lapack.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kWidestByColumns = 12;

bool isUpper(RightFactor factor)
{
    return factor == RightFactor::Upper;
}
bool isUnit(RightFactor factor)
{
    return factor == RightFactor::LowerTransposedUnit || factor == RightFactor::LowerAdjointUnit;
}
bool isAdjoint(RightFactor factor)
{
    return factor == RightFactor::LowerAdjointUnit || factor == RightFactor::LowerAdjoint;
}

template <class T>
LINTRIX_ALWAYS_INLINE void scale(T* column, T by, int m)
{
    for (int i = 0; i < m; ++i) column[i] = product(column[i], by);
}

// Column j of X loses the columns before it, times the entries of column j of the right factor.
template <int Bytes, class T>
LINTRIX_ALWAYS_INLINE void solveByColumns(RightFactor factor, const T* block, std::ptrdiff_t ld, int w, T* x,
                                          std::ptrdiff_t ldx, int m)
{
    for (int j = 0; j < w; ++j) {
        T* const column = x + ldx * j;
        for (int p = 0; p < j; ++p) {
            const T entry =
                isUpper(factor) ? block[p + ld * j] : conjugate(block[j + ld * p], isAdjoint(factor));
            column_kernel::loseMultiple<Bytes, false>(x + ldx * p, entry, column, m);
        }
        if (!isUnit(factor)) scale(column, inverseOf(conjugate(block[j + ld * j], isAdjoint(factor))), m);
    }
}

// Column j loses the columns before it, times row j of L, and is divided by the root of its pivot.
template <int Bytes, class T>
LINTRIX_ALWAYS_INLINE int choleskyByColumns(T* panel, std::ptrdiff_t ld, int w)
{
    for (int j = 0; j < w; ++j) {
        T* const column = panel + ld * j;
        const int rows = static_cast<int>(ld) - j;
        for (int p = 0; p < j; ++p) {
            const T* const before = panel + ld * p;
            column_kernel::loseMultiple<Bytes, false>(before + j, conjugate(before[j]), column + j, rows);
        }
        const RealOf<T> pivot = realPart(column[j]);
        if (pivot <= 0) return j + 1; // NaN goes on to the solution, as from potrf
        const RealOf<T> root = std::sqrt(pivot), inverse = 1 / root;
        column[j] = root;
        for (int i = j + 1; i < ld; ++i) column[i] *= inverse;
    }
    return 0;
}

// D, as it stands in a block.
template <class T>
struct Pivots {
    const T* block;
    std::ptrdiff_t ld;
    int w;
    const int* exchange;
    bool hermitian;
};

template <class T>
LINTRIX_ALWAYS_INLINE void divideColumns(const Pivots<T>& d, T* x, std::ptrdiff_t ldx, int m)
{
    for (int j = 0; j < d.w;) {
        T *const first = x + ldx * j, *const second = first + ldx;
        if (d.exchange[j] > 0) {
            scale(first, inverseOf(d.block[j + d.ld * j]), m);
            ++j;
            continue;
        }
        const PivotPair<T> pair = pivotPairAt(d.block, d.ld, j, d.hermitian);
        for (int i = 0; i < m; ++i) pair.divideRow(first[i], second[i]);
        j += 2;
    }
}

template <class T>
LINTRIX_ALWAYS_INLINE void multiplyColumns(const Pivots<T>& d, const T* x, std::ptrdiff_t ldx, int k, T* y,
                                           std::ptrdiff_t ldy)
{
    const auto conj = [&](T value) LINTRIX_INLINE_LAMBDA { return conjugate(value, d.hermitian); };
    for (int j = 0; j < d.w;) {
        const T *const a = x + ldx * j, *const b = a + ldx;
        T *const first = y + ldy * j, *const second = first + ldy;
        const T* const column = d.block + d.ld * j;
        const T d0 = column[j];
        if (d.exchange[j] > 0) {
            for (int i = 0; i < k; ++i) first[i] = product(d0, conj(a[i]));
            ++j;
            continue;
        }
        const T lower = column[d.ld + j], upper = conj(lower), d1 = column[d.ld + j + 1];
        for (int i = 0; i < k; ++i) {
            first[i] = product(d0, conj(a[i])) + product(upper, conj(b[i]));
            second[i] = product(lower, conj(a[i])) + product(d1, conj(b[i]));
        }
        j += 2;
    }
}

template <class T>
struct NarrowPanels {
    void (*solve)(RightFactor, const T*, std::ptrdiff_t, int, T*, std::ptrdiff_t, int);
    int (*cholesky)(T*, std::ptrdiff_t, int);
    void (*divide)(const Pivots<T>&, T*, std::ptrdiff_t, int);
    void (*multiply)(const Pivots<T>&, const T*, std::ptrdiff_t, int, T*, std::ptrdiff_t);
};

template <class T>
LINTRIX_FOR_AVX2 void solveAvx2(RightFactor factor, const T* block, std::ptrdiff_t ld, int w, T* x,
                                std::ptrdiff_t ldx, int m)
{
    solveByColumns<32>(factor, block, ld, w, x, ldx, m);
}
template <class T>
LINTRIX_FOR_AVX2 int choleskyAvx2(T* panel, std::ptrdiff_t ld, int w)
{
    return choleskyByColumns<32>(panel, ld, w);
}
template <class T>
LINTRIX_FOR_AVX2 void divideAvx2(const Pivots<T>& d, T* x, std::ptrdiff_t ldx, int m)
{
    divideColumns(d, x, ldx, m);
}
template <class T>
LINTRIX_FOR_AVX2 void multiplyAvx2(const Pivots<T>& d, const T* x, std::ptrdiff_t ldx, int k, T* y,
                                   std::ptrdiff_t ldy)
{
    multiplyColumns(d, x, ldx, k, y, ldy);
}
template <class T>
void solveSse2(RightFactor factor, const T* block, std::ptrdiff_t ld, int w, T* x, std::ptrdiff_t ldx, int m)
{
    solveByColumns<16>(factor, block, ld, w, x, ldx, m);
}
template <class T>
int choleskySse2(T* panel, std::ptrdiff_t ld, int w)
{
    return choleskyByColumns<16>(panel, ld, w);
}
template <class T>
void divideSse2(const Pivots<T>& d, T* x, std::ptrdiff_t ldx, int m)
{
    divideColumns(d, x, ldx, m);
}
template <class T>
void multiplySse2(const Pivots<T>& d, const T* x, std::ptrdiff_t ldx, int k, T* y, std::ptrdiff_t ldy)
{
    multiplyColumns(d, x, ldx, k, y, ldy);
}

// Columns are too short for longer vectors to pay.
template <class T>
constexpr NarrowPanels<T> kAvx2{solveAvx2<T>, choleskyAvx2<T>, divideAvx2<T>, multiplyAvx2<T>};
template <class T>
constexpr KernelForms<NarrowPanels<T>> kForms{
    .sse2 = {solveSse2<T>, choleskySse2<T>, divideSse2<T>, multiplySse2<T>},
    .avx2 = kAvx2<T>,
    .avx512 = kAvx2<T>};

template <class T>
const NarrowPanels<T>& narrowPanels()
{
    static const NarrowPanels<T> chosen = kForms<T>.chosen();
    return chosen;
}

} // namespace

template <class T>
int factorCholeskyPanel(T* panel, int height, int w)
{
    if (w <= kWidestByColumns) return narrowPanels<T>().cholesky(panel, height, w);
    int info = 0;
    lapack::potrf('L', w, panel, height, info);
    if (info == 0)
        solveFromRight(kIsComplex<T> ? RightFactor::LowerAdjoint : RightFactor::LowerTransposed, panel,
                       height, w, panel + w, height, height - w);
    return info;
}

template <class T>
void solveFromRight(RightFactor factor, const T* block, int ld, int w, T* x, int ldx, int m)
{
    if (m == 0 || (w == 1 && isUnit(factor))) return;
    if (w <= kWidestByColumns) return narrowPanels<T>().solve(factor, block, ld, w, x, ldx, m);
    const char uplo = isUpper(factor) ? 'U' : 'L', diag = isUnit(factor) ? 'U' : 'N';
    const char trans = isUpper(factor) ? 'N' : isAdjoint(factor) ? 'C' : 'T';
    blas::trsm('R', uplo, trans, diag, m, w, T(1), block, ld, x, ldx);
}

template <class T>
void exchangeColumns(const int* exchange, int w, T* x, int ldx, int m)
{
    for (int i = 0; i < w; ++i) {
        const int with = std::abs(exchange[i]) - 1;
        if (with == i) continue;
        T *const a = x + std::ptrdiff_t{ldx} * i, *const b = x + std::ptrdiff_t{ldx} * with;
        std::swap_ranges(a, a + m, b);
    }
}

template <class T>
void divideByPivots(const T* block, int ld, int w, const int* exchange, bool hermitian, T* x, int ldx, int m)
{
    if (m > 0) narrowPanels<T>().divide({block, ld, w, exchange, hermitian}, x, ldx, m);
}

template <class T>
void multiplyByPivots(const T* block, int ld, int w, const int* exchange, bool hermitian, const T* x, int ldx,
                      int k, T* y, int ldy)
{
    narrowPanels<T>().multiply({block, ld, w, exchange, hermitian}, x, ldx, k, y, ldy);
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template void solveFromRight(RightFactor, const T*, int, int, T*, int, int);                             \
    template int factorCholeskyPanel(T*, int, int);                                                          \
    template void exchangeColumns(const int*, int, T*, int, int);                                            \
    template void divideByPivots(const T*, int, int, const int*, bool, T*, int, int);                        \
    template void multiplyByPivots(const T*, int, int, const int*, bool, const T*, int, int, T*, int);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
