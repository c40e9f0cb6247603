#include <lintrix/engine/analysis/matching/scaling.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail::engine {

namespace {

// The exponential is a double from -745 to 709.78, and a normal one, or the next to it, from -709 on.
constexpr double kLargestExponent = 709.0;

double limitedExponential(double x) noexcept
{
    return std::exp(std::clamp(x, -kLargestExponent, kLargestExponent));
}

// What goes from the duals of columns to those of rows: nothing as long as all are in range, else what brings
// the extremes of u and -v to the same distance from 0.
double shiftOf(std::span<const double> u, std::span<const double> v) noexcept
{
    const auto [leastU, mostU] = std::ranges::minmax(u);
    const auto [leastV, mostV] = std::ranges::minmax(v);
    const double least = std::min(leastU, -mostV), most = std::max(mostU, -leastV);
    const bool inRange = least >= -kLargestExponent && most <= kLargestExponent;
    return inRange ? 0.0 : -0.5 * (least + most);
}

} // namespace

void scaleUnsymmetric(std::span<const double> u, std::span<const double> v, std::span<const int> columnOfRow,
                      std::span<double> factors) noexcept
{
    const double shift = shiftOf(u, v);
    for (std::size_t i = 0; i < u.size(); ++i) {
        const auto j = static_cast<std::size_t>(columnOfRow[i]);
        const double sum = u[i] + v[j];
        const double row = std::clamp(u[i] + shift, std::max(-kLargestExponent, sum - kLargestExponent),
                                      std::min(kLargestExponent, sum + kLargestExponent));
        factors[i] = row == 0.0 ? 1.0 : std::exp(row); // of most rows that keep their diagonal
        factors[u.size() + j] = std::exp(v[j] - (row - u[i]));
    }
}

// The square root of the product is the exponential of the mean, which cannot overflow on the way.
void scaleSymmetric(std::span<const double> u, std::span<const double> v, std::span<double> factors) noexcept
{
    for (std::size_t i = 0; i < u.size(); ++i) factors[i] = limitedExponential(0.5 * (u[i] + v[i]));
    std::ranges::transform(v, factors.subspan(u.size()).begin(), limitedExponential);
}

void scaleByOne(std::span<double> factors) noexcept
{
    std::fill(factors.begin(), factors.end(), 1.0);
}

} // namespace Velmar::Lintrix::detail::engine
