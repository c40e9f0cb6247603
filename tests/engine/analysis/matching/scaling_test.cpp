#include <lintrix/engine/analysis/matching/scaling.h>

#include "tests/engine/analysis/matching/matching_support.h"

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

TEST(Scaling, OfUnsymmetricMatricesIsRowFactorsThenColumnFactors)
{
    const std::vector<double> u{0.0, 1.0}, v{-2.0, 3.0};
    std::vector<double> factors(4);
    scaleUnsymmetric(u, v, factors);
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

TEST(Scaling, KeepsFactorsNormalNumbers)
{
    const std::vector<double> u{1e6, -1e6}, v{1e6, -1e6};
    std::vector<double> factors(4);
    scaleUnsymmetric(u, v, factors);
    for (const double f : factors) EXPECT_TRUE(std::isnormal(f)) << f;
    scaleSymmetric(u, v, factors);
    for (const double f : factors) EXPECT_TRUE(std::isnormal(f)) << f;
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
        scaleUnsymmetric(matched.u, matched.v, factors);
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
