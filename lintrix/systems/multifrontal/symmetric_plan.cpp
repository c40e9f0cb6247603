#include <lintrix/systems/multifrontal/symmetric_plan.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/multifrontal/little_fill.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

namespace {

constexpr int kPasses = 6;
constexpr double kAlike = 20.0; // powers of two between the largest elements of rows
constexpr int kSteps = 60;      // of conjugate gradients, and what they may leave, in powers of two
constexpr double kNear = 0.25;
constexpr std::int32_t kAlone = -1;

/// log2 |a_ij| of all elements; of a zero -infinity.
template <class Cell>
std::vector<float> logarithms(const SparseEntries<Cell>& A)
{
    std::vector<float> sizes(A.values.size());
    std::ranges::transform(A.values, sizes.begin(), [](const Cell& x) {
        const double size = std::max(std::abs(std::real(x)), std::abs(std::imag(x)));
        if (size == 0.0) return -std::numeric_limits<float>::infinity();
        int exponent = 0;
        const double mantissa = std::frexp(size, &exponent);
        return static_cast<float>(exponent + 2.0 * (mantissa - 1.0)); // within a tenth of the logarithm
    });
    return sizes;
}

using Scales = std::vector<double>; ///< in powers of two

/// Of each row the largest log2 |a_ij| + e_i + e_j; -infinity of an empty one.
Scales largestOfRows(const SparsePattern& A, const std::vector<float>& sizes, const Scales& e)
{
    Scales largest(e.size(), -std::numeric_limits<double>::infinity());
    for (std::int32_t i = 0; i < A.rows; ++i)
        for (std::int32_t k = A.starts[i]; k < A.starts[i + 1]; ++k)
            largest[i] = std::max(largest[i], sizes[k] + e[i] + e[A.columns[k]]);
    return largest;
}

/// Of those that are finite.
bool areAlike(const Scales& largest)
{
    double low = std::numeric_limits<double>::infinity(), high = -low;
    for (const double size : largest) {
        if (!std::isfinite(size)) continue;
        low = std::min(low, size);
        high = std::max(high, size);
    }
    return high - low <= kAlike || low > high;
}

/// The e that makes the sum of (log2 |a_ij| + e_i + e_j)^2 smallest, which follows every change of units (A.
/// R. Curtis, J. K. Reid, "On the automatic scaling of matrices for Gaussian elimination", J. Inst. Maths
/// Applics 10 (1972)): of (N + E)*e = -s with N the counts of elements in rows, E their pattern and s the
/// sums of logarithms, by conjugate gradients with N for a preconditioner.
Scales unitsOf(const SparsePattern& A, const std::vector<float>& sizes)
{
    const auto n = static_cast<std::size_t>(A.rows);
    Scales e(n), residual(n), counts(n), z(n), p(n), image(n);
    const auto forElements = [&](const auto& work) {
        for (std::int32_t i = 0; i < A.rows; ++i)
            for (std::int32_t k = A.starts[i]; k < A.starts[i + 1]; ++k)
                if (std::isfinite(sizes[k])) work(i, A.columns[k], sizes[k]);
    };
    forElements([&](std::int32_t i, std::int32_t, double size) {
        residual[i] -= size;
        ++counts[i];
    });
    for (double& count : counts) count = std::max(count, 1.0);
    double before = 0.0;
    for (int step = 0; step < kSteps; ++step) {
        WorkScope::tell();
        for (std::size_t i = 0; i < n; ++i) z[i] = residual[i] / counts[i];
        if (std::ranges::all_of(z, [](double x) { return std::abs(x) <= kNear; })) break;
        const double size = std::inner_product(residual.begin(), residual.end(), z.begin(), 0.0);
        for (std::size_t i = 0; i < n; ++i) p[i] = z[i] + (step == 0 ? 0.0 : size / before * p[i]);
        for (std::size_t i = 0; i < n; ++i) image[i] = counts[i] * p[i];
        forElements([&](std::int32_t i, std::int32_t j, double) { image[i] += p[j]; });
        const double alpha = size / std::inner_product(p.begin(), p.end(), image.begin(), 0.0);
        for (std::size_t i = 0; i < n; ++i) {
            e[i] += alpha * p[i];
            residual[i] -= alpha * image[i];
        }
        before = size;
    }
    return e;
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
    Scales scales(static_cast<std::size_t>(A.rows));
    if (!areAlike(largestOfRows(A, sizes, scales))) scales = unitsOf(A, sizes);
    for (int pass = 0; pass < kPasses; ++pass) {
        WorkScope::tell();
        const Scales largest = largestOfRows(A, sizes, scales);
        for (std::size_t i = 0; i < scales.size(); ++i)
            if (std::isfinite(largest[i])) scales[i] -= 0.5 * largest[i];
    }
    std::vector<int> exponents(scales.size());
    std::ranges::transform(scales, exponents.begin(),
                           [](double scale) { return static_cast<int>(std::lround(scale)); });
    return exponents;
}

template <class Cell>
std::vector<std::int32_t> orderWithPartners(const SparseEntries<Cell>& A, const std::vector<int>& exponents,
                                            double threshold, FillInReducingMethod method)
{
    const std::vector<std::int32_t> partners = partnersOf(A, exponents, threshold);
    const Names names(partners);
    const std::vector<std::int32_t> nameAt = orderOf(compressed(A, partners, names), method);
    std::vector<std::int32_t> vertexAt;
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
                                                     double, FillInReducingMethod);
template std::vector<std::int32_t> orderWithPartners(const SparseEntries<std::complex<double>>&,
                                                     const std::vector<int>&, double, FillInReducingMethod);

} // namespace Velmar::Lintrix::detail::multifrontal
