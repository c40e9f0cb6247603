#include <lintrix/systems/quality/forward_bound.h>

#include <lintrix/systems/quality/backward_error.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// q counts a little higher than it was measured: of one perturbed pivot the corrections are an exact
/// geometric series, and its sum the error to the last digit.
constexpr double kMargin = 1.0 + 1.0 / 64;

/// size/scale, 0/0 = 0; NaN of an infinite scale.
double quotient(double size, double scale) noexcept
{
    if (std::isinf(scale)) return std::numeric_limits<double>::quiet_NaN();
    return size == 0.0 && scale == 0.0 ? 0.0 : size / scale;
}

/// diag(g)*inverse^H.
template <class Cell>
LinearMap<Cell> scaledAdjoint(const LinearMap<Cell>& inverse, const std::vector<double>& g)
{
    const auto n = static_cast<std::int64_t>(g.size());
    const auto scale = [&g, n](std::int32_t columns, const Cell* from, Cell* to) {
        for (std::int64_t at = 0; at < n * columns; ++at) to[at] = from[at] * g[at % n];
    };
    LinearMap<Cell> map{inverse.cols, inverse.rows, {}, {}};
    map.times = [&inverse, scale](std::int32_t columns, const Cell* x, Cell* y) {
        inverse.adjointTimes(columns, x, y);
        scale(columns, y, y);
    };
    map.adjointTimes = [&inverse, scale, n](std::int32_t columns, const Cell* x, Cell* y) {
        std::vector<Cell> scaled(n * columns);
        scale(columns, x, scaled.data());
        inverse.times(columns, scaled.data(), y);
    };
    return map;
}

/// The correction d and what it leaves, of one column.
template <class Cell>
struct Correction {
    double size;         ///< ||d||
    double next;         ///< ||op(A)^-1 * s||
    double rate;         ///< q
    std::vector<Cell> s; ///< r - op(A)*d

    Correction(const MatrixView<Cell>& A, TransposeMode op, const LinearMap<Cell>& inverse, const Cell* r)
        : s(r, r + A.rows())
    {
        size = correct(A, op, inverse, s);
        std::vector<Cell> left = s;
        next = correct(A, op, inverse, left);
        rate = kMargin * largerOrNaN(quotient(next, size), quotient(correct(A, op, inverse, left), next));
    }

private:
    /// r becomes r - op(A)*d. @return  ||d||, d = op(A)^-1 * r
    static double correct(const MatrixView<Cell>& A, TransposeMode op, const LinearMap<Cell>& inverse,
                          std::vector<Cell>& r)
    {
        std::vector<Cell> d(r.size()), left(r.size());
        inverse.times(1, r.data(), d.data());
        residualInTwicePrecision<Cell>(A, op, 1, r.data(), d.data(), nullptr, left.data());
        r = std::move(left);
        return largestModulus(d.data(), A.rows());
    }
};

/// g, in place of w. Where w may have underflowed, as much is added as may have been lost.
template <class Cell>
void boundUnknown(const Cell* r, const Cell* s, std::int32_t terms, ResidualPrecision precision,
                  std::vector<double>& w)
{
    const UnderflowGuard guard(terms);
    const double unit = terms * 0x1p-53;
    for (std::size_t i = 0; i < w.size(); ++i) {
        const double size = modulus(r[i]), lost = w[i] <= guard.below ? guard.shift : 0.0;
        w[i] = lost + (precision == ResidualPrecision::Working ? size + unit * w[i]
                                                               : modulus(s[i]) + unit * (size + unit * w[i]));
    }
}

} // namespace

template <class Cell>
std::vector<double> forwardErrorBounds(const MatrixView<Cell>& A, TransposeMode op,
                                       const LinearMap<Cell>& inverse, std::int32_t columns, const Cell* b,
                                       const Cell* x, const Cell* r, ResidualPrecision precision,
                                       const NormEstimation& how)
{
    const std::int32_t n = A.rows(), terms = longestRow(A, op) + 1;
    if (n == 0) return std::vector<double>(columns);
    std::vector<double> g(n), bounds;
    for (std::int32_t c = 0; c < columns; ++c) {
        const std::int64_t first = std::int64_t{n} * c;
        const Correction<Cell> correction(A, op, inverse, r + first);
        residualScale(A, op, 1, b + first, x + first, g.data());
        boundUnknown(r + first, correction.s.data(), terms, precision, g);
        const double estimate =
            largerOrNaN(estimateOneNorm(scaledAdjoint(inverse, g), how), correction.next) /
            (1.0 - correction.rate);
        const double bound = precision == ResidualPrecision::Working ? largerOrNaN(estimate, correction.size)
                                                                     : estimate + correction.size;
        const double size = largestModulus(x + first, n);
        bounds.push_back(correction.rate >= 1.0 ? kInfinity : quotient(bound, size));
    }
    return bounds;
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template std::vector<double> forwardErrorBounds(                                                         \
        const MatrixView<Cell>&, TransposeMode, const LinearMap<Cell>&, std::int32_t, const Cell*,           \
        const Cell*, const Cell*, ResidualPrecision, const NormEstimation&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
