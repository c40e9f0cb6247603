#include <lintrix/engine/analysis/matching/scaling.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail::engine {

namespace {

double limitedExponential(double x) noexcept
{
    constexpr double kLargestExponent = 700.0;
    return std::exp(std::clamp(x, -kLargestExponent, kLargestExponent));
}

void keepExponentials(std::span<const double> duals, std::span<double> factors) noexcept
{
    std::transform(duals.begin(), duals.end(), factors.begin(), limitedExponential);
}

} // namespace

void scaleUnsymmetric(std::span<const double> u, std::span<const double> v,
                      std::span<double> factors) noexcept
{
    keepExponentials(u, factors.first(u.size()));
    keepExponentials(v, factors.subspan(u.size()));
}

// The square root of the product is the exponential of the mean, which cannot overflow on the way.
void scaleSymmetric(std::span<const double> u, std::span<const double> v, std::span<double> factors) noexcept
{
    for (std::size_t i = 0; i < u.size(); ++i) factors[i] = limitedExponential(0.5 * (u[i] + v[i]));
    keepExponentials(v, factors.subspan(u.size()));
}

void scaleByOne(std::span<double> factors) noexcept
{
    std::fill(factors.begin(), factors.end(), 1.0);
}

} // namespace Velmar::Lintrix::detail::engine
