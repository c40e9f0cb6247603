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

/// Solves that are held against their equations, and refined where that is asked for.
template <class Cell>
class WatchedSolves {
public:
    WatchedSolves(const AnyMatrix<Cell>& A, const FactorQuestion& asked, FactorQuality& quality)
        : A_(A), asked_(asked), quality_(quality)
    {
        quality_.drift = 0.0;
    }

    void solve(const typename LinearMap<Cell>::Apply& inverse, std::int32_t columns, const Cell* x, Cell* y)
    {
        inverse(columns, x, y);
        double drift = driftOf(columns, x, y);
        for (std::int32_t step = 0; step < asked_.steps && !(drift <= asked_.near); ++step) {
            std::vector<Cell> corrections(left_.size());
            inverse(columns, left_.data(), corrections.data());
            for (std::size_t i = 0; i < corrections.size(); ++i) y[i] += corrections[i];
            drift = driftOf(columns, x, y);
        }
        quality_.drift = largerOrNaN(*quality_.drift, drift);
    }

private:
    /// The largest ||x - (A - shift*I + diag(raised))*y||/||x||_inf, y the inverse's answer to x.
    double driftOf(std::int32_t columns, const Cell* x, const Cell* y)
    {
        const std::int32_t n = A_.rows();
        left_.resize(static_cast<std::size_t>(n) * static_cast<std::size_t>(columns));
        residual(A_, TransposeMode::NotTransposed, columns, x, y, left_.data());
        if (*asked_.shift != 0.0)
            for (std::size_t i = 0; i < left_.size(); ++i) left_[i] += *asked_.shift * y[i];
        if (!asked_.raised.empty())
            for (std::size_t i = 0; i < left_.size(); ++i)
                left_[i] -= asked_.raised[i % static_cast<std::size_t>(n)] * y[i];
        double largest = 0.0;
        for (std::int32_t c = 0; c < columns; ++c) {
            const std::int64_t first = std::int64_t{n} * c;
            const double size = euclideanNorm(left_.data() + first, n) / largestModulus(x + first, n);
            largest = largerOrNaN(largest, size);
        }
        return largest;
    }

    const AnyMatrix<Cell>& A_;
    const FactorQuestion& asked_;
    FactorQuality& quality_;
    std::vector<Cell> left_{}; ///< of x, by the last answer
};

} // namespace

double FactorQuality::inverseNormAtMost() const noexcept
{
    const bool isTrusted = std::isfinite(inverseNorm) && condition && *condition <= kSolvable;
    return isTrusted ? kShortfall * inverseNorm : std::numeric_limits<double>::infinity();
}

template <class Cell>
FactorQuality qualityOfFactor(const AnyMatrix<Cell>& A, const LinearMap<Cell>& inverse,
                              const FactorQuestion& asked)
{
    FactorQuality quality;
    LinearMap<Cell> map = inverse;
    std::optional<WatchedSolves<Cell>> solves;
    if (asked.shift) {
        solves.emplace(A, asked, quality);
        const auto watched = [&solves](const auto& apply) {
            return [&](std::int32_t columns, const Cell* x, Cell* y) { solves->solve(apply, columns, x, y); };
        };
        map.times = watched(inverse.times);
        map.adjointTimes = watched(inverse.adjointTimes);
    }
    quality.inverseNorm = estimateOneNorm(
        map, {.columns = asked.columns, .iterations = kSteps, .hermitian = asked.shift.has_value()});
    const double condition =
        conditionOf(asked.oneNorm ? *asked.oneNorm : oneNorm(A), quality.inverseNorm, A.rows());
    if (!std::isnan(condition)) quality.condition = condition;
    return quality;
}

#define LINTRIX_INSTANTIATE(Cell)                                                                            \
    template FactorQuality qualityOfFactor(const AnyMatrix<Cell>&, const LinearMap<Cell>&,                   \
                                           const FactorQuestion&);
LINTRIX_INSTANTIATE(double)
LINTRIX_INSTANTIATE(std::complex<double>)
#undef LINTRIX_INSTANTIATE

} // namespace Velmar::Lintrix::detail
