#include <lintrix/engine/solution/backward_error.h>

#include <lintrix/engine/solution/iteration.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>

namespace Velmar::Lintrix::detail::engine {

namespace {

template <class T>
double sumOfModuli(const T* values, int n)
{
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += modulus(values[i]);
    return sum;
}

} // namespace

template <class T>
double backwardError(double largestEntry, const T* x, const T* b, const T* residual, int n) noexcept
{
    const double r = largestModulus(residual, n), size = sumOfModuli(x, n);
    if (!std::isfinite(r) || std::isnan(size)) return std::numeric_limits<double>::quiet_NaN();
    return r == 0.0 ? 0.0 : r / (largestEntry * size + largestModulus(b, n));
}

template <class T>
void takeBetter(const SparseOperator<T>& A, double largestEntry, const T* b, const T* other, T* x, int n,
                int count, T* work)
{
    T *const left = work, *const leftByOther = work + std::ptrdiff_t{n} * count;
    A.residual(b, x, left, count);
    A.residual(b, other, leftByOther, count);
    for (int c = 0; c < count; ++c) {
        const std::ptrdiff_t first = std::ptrdiff_t{n} * c;
        const double own = backwardError(largestEntry, x + first, b + first, left + first, n);
        const double others = backwardError(largestEntry, other + first, b + first, leftByOther + first, n);
        if (own <= others || std::isnan(others)) continue;
        std::copy_n(other + first, n, x + first);
    }
}

#define LINTRIX_INSTANTIATE(T)                                                                               \
    template double backwardError(double, const T*, const T*, const T*, int) noexcept;                       \
    template void takeBetter(const SparseOperator<T>&, double, const T*, const T*, T*, int, int, T*);
LINTRIX_INSTANTIATE(float)
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<float>)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail::engine
