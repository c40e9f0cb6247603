#include <lintrix/systems/multifrontal/symmetric_plan.h>

#include <lintrix/engine/minimum_degree_order.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <new>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

namespace {

constexpr int kPasses = 6;
constexpr std::int32_t kAlone = -1;

/// log2 |a_ij| of all elements.
template <class Cell>
std::vector<float> logarithms(const SparseEntries<Cell>& A)
{
    std::vector<float> sizes(A.values.size());
    std::ranges::transform(A.values, sizes.begin(), [](const Cell& x) {
        const double size = std::max(std::abs(std::real(x)), std::abs(std::imag(x)));
        int exponent = 0;
        const double mantissa = std::frexp(size, &exponent);
        return static_cast<float>(exponent + 2.0 * (mantissa - 1.0)); // within a tenth of the logarithm
    });
    return sizes;
}

/// For each vertex that is no pivot by itself its partner, and for that the vertex.
template <class Cell>
std::vector<std::int32_t> partnersOf(const SparseEntries<Cell>& A, const std::vector<int>& exponents,
                                     double threshold)
{
    const std::vector<float> sizes = logarithms(A);
    const auto least = static_cast<float>(std::log2(threshold));
    std::vector<std::int32_t> partners(static_cast<std::size_t>(A.rows), kAlone);
    if (threshold == 0.0) return partners;
    for (std::int32_t i = 0; i < A.rows; ++i) {
        if (partners[i] != kAlone) continue;
        constexpr float kNothing = -std::numeric_limits<float>::infinity();
        float own = kNothing, largest = kNothing, best = kNothing;
        std::int32_t partner = kAlone;
        for (std::int32_t k = A.starts[i]; k < A.starts[i + 1]; ++k) {
            const std::int32_t j = A.columns[k];
            const float size = sizes[k] + static_cast<float>(exponents[j]);
            largest = std::max(largest, size);
            if (j == i) own = size;
            if (j == i || partners[j] != kAlone || size <= best) continue;
            best = size;
            partner = j;
        }
        if (own >= largest + least || partner == kAlone) continue;
        partners[i] = partner;
        partners[partner] = i;
    }
    return partners;
}

/// Vertices that go together have one name.
struct Names {
    explicit Names(const std::vector<std::int32_t>& partners) : of(partners.size())
    {
        for (std::int32_t i = 0; i < std::ssize(partners); ++i) {
            const bool isSecond = partners[i] != kAlone && partners[i] < i;
            of[i] = isSecond ? of[partners[i]] : static_cast<std::int32_t>(firsts.size());
            if (!isSecond) firsts.push_back(i);
        }
    }
    std::vector<std::int32_t> of, firsts{};
};

PatternArrays compressed(const SparsePattern& A, const std::vector<std::int32_t>& partners,
                         const Names& names)
{
    const auto n = static_cast<std::int32_t>(names.firsts.size());
    PatternArrays pattern{n, n};
    pattern.columns.reserve(A.columns.size());
    std::vector<std::int32_t> metBy(static_cast<std::size_t>(n), kAlone);
    for (std::int32_t name = 0; name < n; ++name) {
        const std::int32_t first = names.firsts[name];
        for (const std::int32_t i : {first, partners[first]}) {
            if (i == kAlone) continue;
            for (const std::int32_t j : A.row(i))
                if (std::exchange(metBy[names.of[j]], name) != name) pattern.columns.push_back(names.of[j]);
        }
        pattern.starts.push_back(static_cast<std::int32_t>(pattern.columns.size()));
    }
    return pattern;
}

} // namespace

template <class Cell>
std::vector<int> equilibrate(const SparseEntries<Cell>& A)
{
    const std::vector<float> sizes = logarithms(A);
    std::vector<float> scales(static_cast<std::size_t>(A.rows)), next(scales);
    for (int pass = 0; pass < kPasses; ++pass) {
        for (std::int32_t i = 0; i < A.rows; ++i) {
            float largest = -std::numeric_limits<float>::infinity();
            for (std::int32_t k = A.starts[i]; k < A.starts[i + 1]; ++k)
                largest = std::max(largest, sizes[k] + scales[i] + scales[A.columns[k]]);
            next[i] = std::isfinite(largest) ? scales[i] - 0.5F * largest : 0.0F;
        }
        scales.swap(next);
    }
    std::vector<int> exponents(scales.size());
    std::ranges::transform(scales, exponents.begin(),
                           [](float scale) { return static_cast<int>(std::lround(scale)); });
    return exponents;
}

template <class Cell>
std::vector<std::int32_t> orderWithPartners(const SparseEntries<Cell>& A, const std::vector<int>& exponents,
                                            double threshold)
{
    const std::vector<std::int32_t> partners = partnersOf(A, exponents, threshold);
    const Names names(partners);
    const PatternArrays pattern = compressed(A, partners, names);
    std::vector<std::int32_t> nameAt(names.firsts.size()), vertexAt;
    if (MinimumDegreeOrder(pattern.starts, pattern.columns, nameAt) != 0) throw std::bad_alloc();
    vertexAt.reserve(partners.size());
    for (const std::int32_t name : nameAt) {
        const std::int32_t first = names.firsts[name];
        vertexAt.push_back(first);
        if (partners[first] != kAlone) vertexAt.push_back(partners[first]);
    }
    return vertexAt;
}

template std::vector<int> equilibrate(const SparseEntries<double>&);
template std::vector<int> equilibrate(const SparseEntries<std::complex<double>>&);
template std::vector<std::int32_t> orderWithPartners(const SparseEntries<double>&, const std::vector<int>&,
                                                     double);
template std::vector<std::int32_t> orderWithPartners(const SparseEntries<std::complex<double>>&,
                                                     const std::vector<int>&, double);

} // namespace Velmar::Lintrix::detail::multifrontal
