#include <lintrix/foundation/rounding.h>

#include <lintrix/foundation/failures.h>

#include <array>
#include <cmath>

namespace Velmar::Lintrix {

namespace {

constexpr std::array<double, 16> kPowersOfTen{1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                              1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

// Whatever the rounding mode of the process.
double roundHalfToEven(double value)
{
    const double below = std::floor(value);
    const double excess = value - below;
    if (excess < 0.5) return std::copysign(below, value);
    if (excess > 0.5) return std::copysign(below + 1.0, value);
    return std::copysign(std::fmod(below, 2.0) == 0.0 ? below : below + 1.0, value);
}

} // namespace

double Round(double value, int digits)
{
    if (digits < 0 || digits > 15) {
        throw ArgumentOutOfRangeException("Rounding digits must be between 0 and 15, inclusive.", "digits");
    }
    if (!(std::abs(value) < 1e16)) return value; // NaN too
    const double power = kPowersOfTen[static_cast<std::size_t>(digits)];
    return roundHalfToEven(value * power) / power;
}

} // namespace Velmar::Lintrix
