#include <lintrix/systems/structure/proportionality.h>

#include <array>
#include <cmath>

namespace Velmar::Lintrix::detail {

namespace {

__extension__ using Wide = __int128;
__extension__ using UnsignedWide = unsigned __int128;

constexpr int kPrimeBits = 61;
constexpr std::uint64_t kPrime = (std::uint64_t{1} << kPrimeBits) - 1;
constexpr int kMantissaBits = 53;

/// m*2^e.
struct Dyadic {
    Wide m;
    int e;
};

Dyadic dyadic(double value)
{
    int exponent = 0;
    const double mantissa = std::frexp(value, &exponent);
    return {static_cast<std::int64_t>(std::ldexp(mantissa, kMantissaBits)), exponent - kMantissaBits};
}

// --- residues ---------------------------------------------------------------------------------------------

std::uint64_t reduced(std::uint64_t x)
{
    return x >= kPrime ? x - kPrime : x;
}
std::uint64_t sum(std::uint64_t a, std::uint64_t b)
{
    return reduced(a + b);
}
std::uint64_t negative(std::uint64_t a)
{
    return a == 0 ? 0 : kPrime - a;
}
/// 2^61 = 1: what is above the lowest 61 bits is added to them.
std::uint64_t product(std::uint64_t a, std::uint64_t b)
{
    const UnsignedWide wide = UnsignedWide{a} * b;
    return reduced((static_cast<std::uint64_t>(wide) & kPrime) +
                   static_cast<std::uint64_t>(wide >> kPrimeBits));
}
/// a^(p - 2) (Fermat).
std::uint64_t inverse(std::uint64_t a)
{
    std::uint64_t power = 1;
    for (std::uint64_t exponent = kPrime - 2; exponent != 0; exponent /= 2, a = product(a, a))
        if (exponent % 2 == 1) power = product(power, a);
    return power;
}
std::uint64_t residue(double value)
{
    const Dyadic number = dyadic(std::abs(value));
    const int turns = (number.e % kPrimeBits + kPrimeBits) % kPrimeBits;
    const std::uint64_t r = product(static_cast<std::uint64_t>(number.m), std::uint64_t{1} << turns);
    return value < 0 ? negative(r) : r;
}

/// re + im*i.
struct Residue {
    std::uint64_t re = 0, im = 0;
};
Residue residueOf(double value)
{
    return {residue(value), 0};
}
Residue residueOf(const std::complex<double>& value)
{
    return {residue(value.real()), residue(value.imag())};
}
/// conj(a)/(a*conj(a)).
Residue inverse(const Residue& a)
{
    const std::uint64_t scale = inverse(sum(product(a.re, a.re), product(a.im, a.im)));
    return {product(a.re, scale), product(negative(a.im), scale)};
}
Residue product(const Residue& a, const Residue& b)
{
    return {sum(product(a.re, b.re), negative(product(a.im, b.im))),
            sum(product(a.re, b.im), product(a.im, b.re))};
}

/// The mixing steps of splitmix64 (G. L. Steele, D. Lea, C. H. Flood, OOPSLA 2014).
std::uint64_t mixed(std::uint64_t x)
{
    x += 0x9e3779b97f4a7c15;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9;
    x = (x ^ (x >> 27)) * 0x94d049bb133111eb;
    return x ^ (x >> 31);
}

// --- exact comparison -------------------------------------------------------------------------------------

/// With an odd m, or 0.
Dyadic normalized(Dyadic x)
{
    if (x.m == 0) return x;
    for (; x.m % 2 == 0; x.m /= 2) ++x.e;
    return x;
}

Dyadic exactProduct(double a, double b)
{
    const Dyadic x = normalized(dyadic(a)), y = normalized(dyadic(b));
    return {x.m * y.m, x.e + y.e};
}
Dyadic operator-(const Dyadic& x)
{
    return {-x.m, x.e};
}

/// Whether terms with odd m, or 0, add up to nothing: then the lowest bit of all stands in two of them. These
/// are added, by which a term less is left. Four products of doubles need 108 bits.
template <std::size_t Count>
bool addUpToZero(std::array<Dyadic, Count> terms)
{
    for (;;) {
        Dyadic *lowest = nullptr, *asLow = nullptr;
        for (Dyadic& term : terms) {
            if (term.m == 0) continue;
            if (lowest == nullptr || term.e < lowest->e) {
                lowest = &term;
                asLow = nullptr;
            } else if (term.e == lowest->e) {
                asLow = &term;
            }
        }
        if (lowest == nullptr || asLow == nullptr) return lowest == nullptr;
        *lowest = normalized({lowest->m + asLow->m, lowest->e});
        asLow->m = 0;
    }
}

/// Whether a*b = c*d.
bool equalProducts(double a, double b, double c, double d)
{
    return addUpToZero(std::array{exactProduct(a, b), -exactProduct(c, d)});
}
bool equalProducts(const std::complex<double>& a, const std::complex<double>& b,
                   const std::complex<double>& c, const std::complex<double>& d)
{
    return addUpToZero(std::array{exactProduct(a.real(), b.real()), -exactProduct(a.imag(), b.imag()),
                                  -exactProduct(c.real(), d.real()), exactProduct(c.imag(), d.imag())}) &&
           addUpToZero(std::array{exactProduct(a.real(), b.imag()), exactProduct(a.imag(), b.real()),
                                  -exactProduct(c.real(), d.imag()), -exactProduct(c.imag(), d.real())});
}

} // namespace

template <class Cell>
std::uint64_t proportionKey(std::span<const std::int32_t> indices, std::span<const Cell> values)
{
    Residue form;
    for (std::size_t k = 0; k < values.size(); ++k) {
        const std::uint64_t weight = reduced(mixed(static_cast<std::uint64_t>(indices[k])) & kPrime);
        const Residue value = residueOf(values[k]);
        form = {sum(form.re, product(weight, value.re)), sum(form.im, product(weight, value.im))};
    }
    const Residue quotient = product(form, inverse(residueOf(values.front())));
    return quotient.re ^ mixed(quotient.im);
}

template <class Cell>
bool areProportional(std::span<const Cell> x, std::span<const Cell> y)
{
    for (std::size_t k = 1; k < x.size(); ++k)
        if (!equalProducts(x[k], y[0], y[k], x[0])) return false;
    return true;
}

template LINTRIX_TESTABLE std::uint64_t proportionKey(std::span<const std::int32_t>, std::span<const double>);
template LINTRIX_TESTABLE std::uint64_t proportionKey(std::span<const std::int32_t>,
                                                      std::span<const std::complex<double>>);
template LINTRIX_TESTABLE bool areProportional(std::span<const double>, std::span<const double>);
template LINTRIX_TESTABLE bool areProportional(std::span<const std::complex<double>>,
                                               std::span<const std::complex<double>>);

} // namespace Velmar::Lintrix::detail
