#include <lintrix/systems/quality/factor_quality.h>

#include <lintrix/systems/quality/norm_estimate.h>
#include <lintrix/systems/quality/residual.h>
#include <lintrix/systems/quality/vector_norms.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

/// A unit vector that the subgradient at the start has chosen. A second one seldom finds more than a few
/// percent (Higham, Tisseur, section 5), which nobody needs of a condition number.
constexpr std::int32_t kSteps = 1;

/// What an estimate may fall short by, as long as the condition leaves the solves that it is made of some
/// digits.
constexpr double kShortfall = 4.0, kSolvable = 1e12;

/// The largest ||x - (A - shift*I)*y||/||x||_inf, y the inverse's answer to x.
template <class Cell>
double driftOf(const MatrixView<Cell>& A, double shift, std::int32_t columns, const Cell* x, const Cell* y)
{
    const std::int32_t n = A.rows();
    std::vector<Cell> r(static_cast<std::size_t>(n) * static_cast<std::size_t>(columns));
    residual(A, TransposeMode::NotTransposed, columns, x, y, r.data());
    for (std::size_t i = 0; i < r.size(); ++i) r[i] += shift * y[i];
    double largest = 0.0;
    for (std::int32_t c = 0; c < columns; ++c) {
        const std::int64_t first = std::int64_t{n} * c;
        const double size = euclideanNorm(r.data() + first, n) / largestModulus(x + first, n);
        largest = largerOrNaN(largest, size);
    }
    return largest;
}

} // namespace

double FactorQuality::inverseNormAtMost() const noexcept
{
    const bool isTrusted = std::isfinite(inverseNorm) && condition && *condition <= kSolvable;
    return isTrusted ? kShortfall * inverseNorm : std::numeric_limits<double>::infinity();
}

template <class Cell>
FactorQuality qualityOfFactor(const MatrixView<Cell>& A, const LinearMap<Cell>& inverse,
                              const FactorQuestion& asked)
{
    FactorQuality quality;
    if (asked.shift) quality.drift = 0.0;
    const auto watch = [&](std::int32_t columns, const Cell* x, const Cell* y) {
        if (asked.shift) quality.drift = largerOrNaN(*quality.drift, driftOf(A, *asked.shift, columns, x, y));
    };
    const auto watched = [&watch](const auto& apply) {
        return [&](std::int32_t columns, const Cell* x, Cell* y) {
            apply(columns, x, y);
            watch(columns, x, y);
        };
    };
    const LinearMap<Cell> map{inverse.rows, inverse.cols, watched(inverse.times),
                              watched(inverse.adjointTimes)};
    quality.inverseNorm = estimateOneNorm(map, {.columns = asked.columns, .iterations = kSteps});
    const double condition = conditionOf(oneNorm(A), quality.inverseNorm, A.rows());
    if (!std::isnan(condition)) quality.condition = condition;
    return quality;
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template FactorQuality qualityOfFactor(const MatrixView<Cell>&, const LinearMap<Cell>&,                  \
                                           const FactorQuestion&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
