#include <lintrix/systems/structure/inertia.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Velmar::Lintrix::detail {

namespace {

constexpr double kUnitRoundoff = 0x1p-53;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kShifts = 5;

template <class Cell>
constexpr double kArithmetic = 1.0; ///< error of a product and sum, in units
template <>
constexpr double kArithmetic<std::complex<double>> = 4.0;

void count(double eigenvalueSign, Inertia& inertia)
{
    if (eigenvalueSign > 0.0)
        ++inertia.positive;
    else if (eigenvalueSign < 0.0)
        ++inertia.negative;
    else
        ++inertia.zero;
}

/// Of (a, conj(b); b, c), b > 0 the modulus, which is all that matters: the eigenvalues have the product
/// a*c - b*b and the sum a + c, which do not vanish together. Scaled by a power of two.
void countBlock(double a, double b, double c, Inertia& inertia)
{
    if (!std::isfinite(a) || !std::isfinite(b) || !std::isfinite(c)) {
        inertia.zero += 2;
        return;
    }
    const int exponent = -std::ilogb(std::max({std::abs(a), b, std::abs(c)}));
    a = std::ldexp(a, exponent);
    b = std::ldexp(b, exponent);
    c = std::ldexp(c, exponent);
    const double square = b * b;
    // Without cancellation: the rounding of b*b is made good (W. Kahan).
    const double product = std::fma(a, c, -square) - std::fma(b, b, -square);
    const double larger = a + c != 0.0 ? a + c : -product;
    count(larger, inertia);
    count(larger > 0.0 ? product : -product, inertia);
}

CertainInertia allUncertain(std::int32_t order)
{
    return {0, 0, order, kInfinity};
}

} // namespace

template <class Cell>
Inertia inertiaOf(std::span<const double> diagonal, std::span<const Cell> below)
{
    Inertia inertia;
    for (std::size_t i = 0; i < diagonal.size(); ++i) {
        if (i + 1 < diagonal.size() && below[i] != 0.0) {
            countBlock(diagonal[i], std::abs(below[i]), diagonal[i + 1], inertia);
            ++i;
        } else {
            count(std::isfinite(diagonal[i]) ? diagonal[i] : 0.0, inertia);
        }
    }
    return inertia;
}

template <class Cell>
double factorizationError(std::int32_t terms, double norm, double growth, double replaced)
{
    return kArithmetic<Cell> * (terms + 20.0) * kUnitRoundoff * (norm + growth) + replaced;
}

CertainInertia certainInertia(std::int32_t order, double error,
                              const std::function<ShiftedInertia(double shift)>& inertiaOf)
{
    double shift = 2.0 * error;
    for (int tries = 0; tries < kShifts && std::isfinite(shift); ++tries) {
        const ShiftedInertia above = inertiaOf(shift), below = inertiaOf(-shift);
        const std::int32_t positive = above.inertia.positive, negative = below.inertia.negative;
        const double larger = std::max(above.error, below.error);
        if (above.error <= shift && below.error <= shift) {
            if (positive + negative > order) break;
            return {positive, negative, order - positive - negative, shift + larger};
        }
        shift = 2.0 * larger;
    }
    return allUncertain(order);
}

CertainInertia certainInertia(const ShiftedInertia& atZero, std::span<const double> smallest)
{
    const Inertia& inertia = atZero.inertia;
    const auto within = static_cast<std::int32_t>(
        std::ranges::count_if(smallest, [&](double estimate) { return !(estimate > atZero.error); }));
    const auto told = static_cast<std::int32_t>(smallest.size());
    if (within == told && told < inertia.order()) return allUncertain(inertia.order());
    const std::int32_t positive = std::max(inertia.positive - within, 0),
                       negative = std::max(inertia.negative - within, 0);
    return {positive, negative, inertia.order() - positive - negative, atZero.error};
}

template LINTRIX_TESTABLE Inertia inertiaOf(std::span<const double>, std::span<const double>);
template LINTRIX_TESTABLE Inertia inertiaOf(std::span<const double>, std::span<const std::complex<double>>);
template LINTRIX_TESTABLE double factorizationError<double>(std::int32_t, double, double, double);
template LINTRIX_TESTABLE double factorizationError<std::complex<double>>(std::int32_t, double, double,
                                                                          double);

} // namespace Velmar::Lintrix::detail
