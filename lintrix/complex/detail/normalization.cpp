#include <lintrix/complex/detail/normalization.h>

#include <lintrix/complex/detail/parts.h>
#include <lintrix/complex/detail/trell_complex.h>
#include <lintrix/services/blas.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Velmar::Lintrix::detail {

namespace {

void scale(const Line<Complex>& x, double factor)
{
    blas::scal(x.n, factor, x.cells, x.step());
}

// Each centred cell is counted in; the sum is not divided by their number.
void toZScores(const Line<Complex>& x)
{
    const Complex mean = _TRELL_Complex(sumOf(x)) / _TRELL_Complex(x.n);
    double s = 0.0;
    for (std::int32_t i = 0; i < x.n; ++i) {
        x[i] -= mean;
        s += x[i].real() * x[i].real() + x[i].imag() * x[i].imag();
    }
    if (s != 0.0) scale(x, 1.0 / std::sqrt(s));
}

// Squares, not squared moduli: the sum and the factor may be complex.
void toUnitLength(const Line<Complex>& x)
{
    const _TRELL_Complex t = dotProduct(x, x);
    if (t != _TRELL_Complex::Zero) {
        blas::scal(x.n, _TRELL_Complex::Reciprocal(_TRELL_Complex::Sqrt(t)).ToComplex(), x.cells, x.step());
    }
}

void toMaximumOne(const Line<Complex>& x, double largest)
{
    if (largest != 0.0) scale(x, 1.0 / largest);
}

double largestOf(const Line<const double>& parts)
{
    return parts[blas::iamax(parts.n, parts.cells, parts.step())];
}

// The parts lie next to each other; there may be more of them than a kernel can count.
double largestInColumn(const Line<Complex>& x)
{
    const double* parts = partsOf(x.cells);
    const std::int64_t count = 2 * std::int64_t{x.n};
    double largest = 0.0;
    for (std::int64_t first = 0; first < count; first += INT32_MAX) {
        const auto n = static_cast<std::int32_t>(std::min<std::int64_t>(count - first, INT32_MAX));
        const double candidate = largestOf({parts + first, n, 1});
        if (first == 0 || std::abs(candidate) > std::abs(largest)) largest = candidate;
    }
    return largest;
}

double largestInRow(const Line<Complex>& x)
{
    const double* parts = partsOf(x.cells);
    const double real = largestOf({parts, x.n, 2 * x.stride}),
                 imaginary = largestOf({parts + 1, x.n, 2 * x.stride});
    return std::abs(real) < std::abs(imaginary) ? imaginary : real;
}

void normalize(const Line<Complex>& x, NormalizeMode mode, double (*largest)(const Line<Complex>&))
{
    if (x.n == 0) return;
    if (mode == NormalizeMode::ZScores) toZScores(x);
    if (mode == NormalizeMode::UnitLength) toUnitLength(x);
    if (mode == NormalizeMode::MaximumOne) toMaximumOne(x, largest(x));
}

} // namespace

void normalizeColumn(const Line<Complex>& x, NormalizeMode mode)
{
    normalize(x, mode, largestInColumn);
}

void normalizeRow(const Line<Complex>& x, NormalizeMode mode)
{
    normalize(x, mode, largestInRow);
}

} // namespace Velmar::Lintrix::detail
