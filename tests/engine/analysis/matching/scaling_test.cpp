#include <lintrix/engine/analysis/matching/scaling.h>

#include "tests/engine/analysis/matching/matching_support.h"

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

TEST(Scaling, OfUnsymmetricMatricesIsRowFactorsThenColumnFactors)
{
    const std::vector<double> u{0.0, 1.0}, v{-2.0, 3.0};
    std::vector<double> factors(4);
    scaleUnsymmetric(u, v, std::vector{1, 0}, factors);
    EXPECT_EQ(factors, (std::vector<double>{1.0, std::exp(1.0), std::exp(-2.0), std::exp(3.0)}));
}

TEST(Scaling, OfSymmetricMatricesIsTheGeometricMeanThenColumnFactors)
{
    const std::vector<double> u{0.0, 1.0}, v{-2.0, 3.0};
    std::vector<double> factors(4);
    scaleSymmetric(u, v, factors);
    EXPECT_DOUBLE_EQ(factors[0], std::sqrt(std::exp(0.0) * std::exp(-2.0)));
    EXPECT_DOUBLE_EQ(factors[1], std::sqrt(std::exp(1.0) * std::exp(3.0)));
    EXPECT_EQ(factors[2], std::exp(-2.0));
    EXPECT_EQ(factors[3], std::exp(3.0));
}

TEST(Scaling, ByOneIsAllOnes)
{
    std::vector<double> factors(6, 7.0);
    scaleByOne(factors);
    EXPECT_EQ(factors, std::vector<double>(6, 1.0));
}

// A double ends at e^709.78 and e^-745: nothing is changed before 709.
TEST(Scaling, IsTheExponentialAsFarAsADoubleHoldsIt)
{
    const std::vector<double> u{709.0, -709.0, 0.0}, v{-705.0, 709.0, -709.0};
    std::vector<double> factors(6);
    scaleUnsymmetric(u, v, std::vector{0, 1, 2}, factors);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(factors[i], std::exp(u[i]));
        EXPECT_EQ(factors[3 + i], std::exp(v[i]));
    }
    scaleSymmetric(v, u, factors);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(factors[3 + i], std::exp(u[i]));
}

// Beyond that a constant goes from all columns to all rows: no product of two factors changes.
TEST(Scaling, KeepsAllProductsWhereAConstantBringsTheFactorsIntoRange)
{
    const std::vector<double> u{0.0, -690.0, -1380.0}, v{0.5, 690.0, 1380.0};
    std::vector<double> factors(6);
    scaleUnsymmetric(u, v, std::vector{0, 1, 2}, factors);
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            EXPECT_TRUE(std::isfinite(factors[i]) && factors[i] > 0);
            EXPECT_NEAR(std::log(factors[i]) + std::log(factors[3 + j]), u[i] + v[j], 1e-11);
        }
    }
}

// Where none does, the matched entries still become 1: both factors of a pair give way.
TEST(Scaling, KeepsTheProductsOfMatchedPairsWhereNothingElseHolds)
{
    const std::vector<double> u{5e3, -1e6, 0.0, 1e6}, v{0.7, -4990.0, 1e6 + 3.0, -1e6 - 700.0};
    const std::vector<int> columnOfRow{1, 2, 0, 3};
    std::vector<double> factors(8);
    scaleUnsymmetric(u, v, columnOfRow, factors);
    for (std::size_t i = 0; i < 4; ++i) {
        const auto j = static_cast<std::size_t>(columnOfRow[i]);
        EXPECT_NEAR(std::log(factors[i]) + std::log(factors[4 + j]), u[i] + v[j], 1e-9);
    }
}

TEST(Scaling, OfSymmetricMatricesStaysWithinTheRangeOfADouble)
{
    const std::vector<double> u{1e6, -1e6}, v{1e6, -1e6};
    std::vector<double> factors(4);
    scaleSymmetric(u, v, factors);
    for (const double f : factors) EXPECT_TRUE(std::isfinite(f) && f > 0) << f;
}

// The entries that come out: 1 on the matching, none above 1, and none of them overflows on the way.
TEST(Scaling, BringsMatchedEntriesToOneAndNoneAbove)
{
    std::mt19937 random(4);
    for (const SparseRows<double>& A : {banded(60, 3, 12.0, random), scattered(60, 4, true, random),
                                        graded(60, 3, 200.0, random), banded(5, 5, 600.0, random)}) {
        const Matched matched = match(A);
        ASSERT_FALSE(matched.failure);
        const std::size_t n = matched.u.size();
        std::vector<double> factors(2 * n);
        scaleUnsymmetric(matched.u, matched.v, matched.columnOfRow, factors);
        for (int i = 0; i < A.n(); ++i) {
            for (int k = A.ia[i]; k < A.ia[i + 1]; ++k) {
                const double scaled = factors[i] * (std::abs(A.a[k]) * factors[n + std::size_t(A.ja[k])]);
                EXPECT_LE(scaled, 1.0 + 1e-12);
                if (matched.columnOfRow[i] == A.ja[k]) {
                    EXPECT_NEAR(scaled, 1.0, 1e-12);
                }
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
