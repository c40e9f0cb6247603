// The small matrix of the Lanczos process, against the eigenvalues that it must have.

#include <lintrix/systems/truncated_svd/broken_arrow.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace Velmar::Lintrix::detail::testing {
namespace {

/// Tridiagonal of 2 and 1, of order n: eigenvalues 2 + 2*cos(j*pi/(n + 1)).
BrokenArrow secondDifferences(int n, double lastCoupling)
{
    BrokenArrow T;
    for (int i = 0; i < n; ++i) T.append(2.0, i + 1 < n ? 1.0 : lastCoupling);
    return T;
}

double valueOf(int j, int n)
{
    return 2.0 + 2.0 * std::cos(j * std::acos(-1.0) / (n + 1));
}

/// ||T*x - value*x|| with the matrix as it is drawn in the header.
double residualOf(const std::vector<double>& tips, const std::vector<double>& tipCouplings,
                  const std::vector<double>& diagonal, const std::vector<double>& couplings, double value,
                  const double* x)
{
    const std::size_t l = tips.size(), n = l + diagonal.size();
    std::vector<double> y(n);
    for (std::size_t i = 0; i < l; ++i) {
        y[i] += tips[i] * x[i] + tipCouplings[i] * x[l];
        y[l] += tipCouplings[i] * x[i];
    }
    for (std::size_t i = 0; i < diagonal.size(); ++i) {
        y[l + i] += diagonal[i] * x[l + i];
        if (i + 1 == diagonal.size()) continue;
        y[l + i] += couplings[i] * x[l + i + 1];
        y[l + i + 1] += couplings[i] * x[l + i];
    }
    double sum = 0.0;
    for (std::size_t i = 0; i < n; ++i) sum += (y[i] - value * x[i]) * (y[i] - value * x[i]);
    return std::sqrt(sum);
}

TEST(BrokenArrowTest, WithoutTipsHasTheEigenvaluesOfATridiagonalMatrix)
{
    for (const int n : {1, 2, 3, 26, 80}) {
        BrokenArrow T = secondDifferences(n, 0.5);
        T.decompose();
        ASSERT_EQ(T.values().size(), static_cast<std::size_t>(n));
        for (int j = 0; j < n; ++j) {
            const auto at = static_cast<std::size_t>(j);
            EXPECT_NEAR(T.values()[at], valueOf(j + 1, n), 1e-13);
            const double last =
                std::sqrt(2.0 / (n + 1)) * std::abs(std::sin((j + 1) * n * std::acos(-1.0) / (n + 1)));
            EXPECT_NEAR(T.reaches()[at], 0.5 * last, 1e-12);
        }
    }
}

/// The kept ones and further rows: T of all rows is similar to what it was before, in another basis.
TEST(BrokenArrowTest, KeepsEigenvaluesAndTheirCouplingsAndGoesOnBehindThem)
{
    BrokenArrow T = secondDifferences(12, 1.0);
    T.decompose();
    T.keep(12);
    EXPECT_EQ(T.order(), 12);
    const std::vector<double> tips = T.values(), reaches = T.couplingsOfNext();
    std::vector<double> diagonal, couplings;
    for (int i = 12; i < 30; ++i) {
        diagonal.push_back(2.0);
        couplings.push_back(1.0);
        T.append(2.0, 1.0);
    }
    T.decompose();
    ASSERT_EQ(T.order(), 30);
    for (std::size_t j = 0; j < 30; ++j) {
        EXPECT_NEAR(T.values()[j], valueOf(static_cast<int>(j) + 1, 30), 1e-13);
        EXPECT_LT(residualOf(tips, reaches, diagonal, couplings, T.values()[j], T.vectors().data() + 30 * j),
                  1e-13);
    }
}

TEST(BrokenArrowTest, TipsThatCoupleWithNothingStandForThemselves)
{
    BrokenArrow T = secondDifferences(6, 1.0);
    T.decompose();
    T.keep(4);
    T.uncouple();
    for (int i = 0; i < 5; ++i) T.append(2.0, 1.0);
    T.decompose();
    std::vector<double> expected;
    for (int j = 1; j <= 4; ++j) expected.push_back(valueOf(j, 6));
    for (int j = 1; j <= 5; ++j) expected.push_back(valueOf(j, 5));
    std::ranges::sort(expected, [](double x, double y) { return x > y; });
    for (std::size_t j = 0; j < expected.size(); ++j) EXPECT_NEAR(T.values()[j], expected[j], 1e-13);
    EXPECT_TRUE(T.hasBehindTips(valueOf(1, 5) - 1e-6));
    EXPECT_FALSE(T.hasBehindTips(valueOf(1, 5) + 1e-6));
}

/// Before and behind a restart the estimate is what the decomposition tells.
TEST(BrokenArrowTest, EstimatesOnePairWithoutTheOthers)
{
    BrokenArrow T = secondDifferences(20, 0.7);
    T.decompose();
    BrokenArrow kept = T;
    kept.keep(9);
    for (int i = 0; i < 8; ++i) kept.append(1.5, 0.4);
    kept.decompose();
    for (const BrokenArrow* const one : {&T, &kept}) {
        for (const std::int32_t k : {1, 2, 5, 9}) {
            const BrokenArrow::Estimate estimate = one->estimateOf(k, 0.0);
            const auto at = static_cast<std::size_t>(k) - 1;
            EXPECT_NEAR(estimate.value, one->values()[at], 1e-13) << k;
            EXPECT_NEAR(estimate.reach, one->reaches()[at], 1e-6 * one->reaches()[at] + 1e-12) << k;
            EXPECT_NEAR(one->estimateOf(k, 0.99 * estimate.value).value, estimate.value, 1e-13) << k;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::detail::testing
