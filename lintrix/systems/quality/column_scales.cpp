#include <lintrix/systems/quality/column_scales.h>

#include <algorithm>
#include <cmath>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kEvenEnough = 1024.0;

/// 2^k with norm*2^k in (1/2, 1]; 1 where there is no norm.
double powerFor(double norm)
{
    if (!(norm > 0.0) || !std::isfinite(norm)) return 1.0;
    int exponent = 0;
    const double fraction = std::frexp(norm, &exponent);
    return std::ldexp(1.0, std::min(fraction == 0.5 ? 1 - exponent : -exponent, 1000));
}

} // namespace

ColumnScales::ColumnScales(const std::vector<double>& norms)
{
    double least = HUGE_VAL, longest = 0.0;
    for (const double norm : norms) {
        if (norm > 0.0) least = std::min(least, norm);
        longest = std::max(longest, norm);
    }
    common = powerFor(longest);
    differ = longest > kEvenEnough * least;
    for (const double norm : norms) scale.push_back(differ ? powerFor(norm) : common);
}

} // namespace Velmar::Lintrix::detail
