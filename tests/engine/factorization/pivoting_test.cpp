// The block kernels to the letter: which pivot is taken, what is perturbed, what is counted.

#include <lintrix/decompositions/sym_eigen.h>
#include <lintrix/engine/factorization/pivoting.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

TEST(CompletePivoting, TakesTheLastOfEqualsInColumnOrder)
{
    std::vector<double> a{2., 5., 1., /**/ 3., 5., 0., /**/ -5., 4., 1.};
    int row[3], column[3];
    pivotCompletely(a.data(), 3, 3, 0., row, column);
    EXPECT_EQ(row[0], 1);
    EXPECT_EQ(column[0], 3);
    EXPECT_EQ(a[0], -5.);

    std::vector<double> equal(16, 1.);
    int r[4], c[4];
    pivotCompletely(equal.data(), 4, 4, 0., r, c);
    EXPECT_EQ(r[0], 4);
    EXPECT_EQ(c[0], 4);
    EXPECT_EQ(r[1], 4); // what is left is zero throughout
    EXPECT_EQ(c[1], 4);
}

TEST(CompletePivoting, WorksOnAPanelAndLeavesTheRowsBelowAlone)
{
    const int ld = 5, w = 2;
    std::vector<double> a{1., 2., 70., 71., 72., 3., 4., 80., 81., 82.};
    int row[2], column[2];
    const PivotCounts counts = pivotCompletely(a.data(), ld, w, 0., row, column);
    EXPECT_EQ(counts.perturbed, 0);
    EXPECT_EQ(row[0], 2);
    EXPECT_EQ(column[0], 2);
    EXPECT_EQ(row[1], 2);
    EXPECT_EQ(column[1], 2);
    EXPECT_EQ(a, (std::vector{4., 0.75, 70., 71., 72., 2., -0.5, 80., 81., 82.}));
}

TEST(CompletePivoting, PerturbsUpToTheThresholdWithTheSign)
{
    for (const double eps : {1e-3, -1e-3}) {
        for (const auto& [value, pivot, count] : {std::tuple{1e-3, 1e-3, 1},
                                                  {-1e-3, -1e-3, 1},
                                                  {5e-4, 1e-3, 1},
                                                  {-5e-4, -1e-3, 1},
                                                  {0., 1e-3, 1},
                                                  {-0., 1e-3, 1},
                                                  {1.1e-3, 1.1e-3, 0},
                                                  {-1.1e-3, -1.1e-3, 0}}) {
            double a = value;
            int row = 0, column = 0;
            EXPECT_EQ(pivotCompletely(&a, 1, 1, eps, &row, &column).perturbed, count) << value;
            EXPECT_EQ(a, pivot);
            EXPECT_EQ(row, 1);
            EXPECT_EQ(column, 1);
        }
    }
    double a = 1e-14;
    int row, column;
    EXPECT_EQ(pivotCompletely(&a, 1, 1, 0., &row, &column).perturbed, 1);
    EXPECT_EQ(a, 1e-13);
}

TEST(CompletePivoting, ComplexMagnitudesAreSumsOfParts)
{
    using C = std::complex<double>;
    std::vector<C> a{C(3., 0.), C(0., 0.), C(2., 2.), C(1., 0.)};
    int row[2], column[2];
    pivotCompletely(a.data(), 2, 2, 0., row, column);
    EXPECT_EQ(row[0], 1);
    EXPECT_EQ(column[0], 2);
}

TEST(DiagonalPivoting, TakesTheLastOfEqualsAndCountsSigns)
{
    std::vector<double> a{-3., 0., 0., 0., 0., 3., 0., 0., 0., 0., 1., 0., 0., 0., 0., -3.};
    int exchange[4];
    const PivotCounts counts = pivotOnDiagonal(a.data(), 4, 4, 0., false, exchange);
    EXPECT_EQ(exchange[0], 4);
    EXPECT_EQ(a[0], -3.);
    EXPECT_EQ(exchange[1], 4);
    EXPECT_EQ(counts.positive, 2);
    EXPECT_EQ(counts.negative, 2);
    EXPECT_EQ(counts.perturbed, 0);
}

TEST(DiagonalPivoting, PerturbsWithTheSignAndHasItsOwnStandard)
{
    for (const auto& [value, eps, pivot] :
         {std::tuple{-1e-9, 0., -1e-8}, {1e-9, 0., 1e-8}, {0., 1e-2, 1e-2}}) {
        double a = value;
        int exchange = 0;
        const PivotCounts counts = pivotOnDiagonal(&a, 1, 1, eps, false, &exchange);
        EXPECT_EQ(a, pivot);
        EXPECT_EQ(counts.perturbed, 1);
        EXPECT_EQ(counts.negative, pivot < 0. ? 1 : 0);
    }
}

TEST(BunchKaufman, TakesAPairWhereTheDiagonalIsZero)
{
    std::vector<double> a{0., 2., 0., 0.};
    int exchange[2];
    const PivotCounts counts = pivotBunchKaufman(a.data(), 2, 2, 0., false, exchange);
    EXPECT_EQ(exchange[0], -1);
    EXPECT_EQ(exchange[1], -2);
    EXPECT_EQ(counts.positive, 1);
    EXPECT_EQ(counts.negative, 1);
    EXPECT_EQ(counts.perturbed, 0);
    EXPECT_EQ(a[2], 2.); // d(2, 1), in the upper triangle
}

// alpha = 0.6403882032022076 decides between one and two columns.
TEST(BunchKaufman, AlphaDecides)
{
    const double alpha = 0.6403882032022076;
    for (const auto& [diagonal, isPair] : {std::pair{alpha * 1.0001, false}, {alpha * 0.9999, true}}) {
        // The row of the largest entry has nothing else off the diagonal, and no diagonal of its own.
        std::vector<double> a{diagonal, 1., 1., 0.};
        int exchange[2];
        pivotBunchKaufman(a.data(), 2, 2, 0., false, exchange);
        EXPECT_EQ(exchange[0] < 0, isPair);
    }
    // |a_rr| >= alpha*e: one column after an exchange
    std::vector<double> a{0.1, 1., 0., 0.9};
    int exchange[2];
    pivotBunchKaufman(a.data(), 2, 2, 0., false, exchange);
    EXPECT_EQ(exchange[0], 2);
    EXPECT_EQ(a[0], 0.9);
}

TEST(BunchKaufman, AColumnOfNothingIsPerturbed)
{
    std::vector<double> a{-1e-9, 1e-10, 0., 5.};
    int exchange[2];
    const PivotCounts counts = pivotBunchKaufman(a.data(), 2, 2, 0., false, exchange);
    EXPECT_EQ(exchange[0], 1);
    EXPECT_EQ(a[0], -1e-8);
    EXPECT_EQ(counts.perturbed, 1);
    EXPECT_EQ(counts.positive, 1);
    EXPECT_EQ(counts.negative, 1);
}

TEST(Pivots, CountTheInertia)
{
    std::mt19937 random(8);
    std::uniform_real_distribution<double> uniform(-1., 1.);
    for (int n = 1; n <= 24; ++n) {
        Matrix A(n, n);
        std::vector<double> block(std::size_t(n) * std::size_t(n));
        for (int j = 0; j < n; ++j) {
            for (int i = j; i < n; ++i) {
                const double value = uniform(random);
                A(i, j) = A(j, i) = value;
                block[std::size_t(i + n * j)] = value;
            }
        }
        int negative = 0;
        const SymEigen eigen(A, false);
        for (int i = 0; i < n; ++i) negative += eigen.Eigenvalues()[i] < 0. ? 1 : 0;
        for (const bool pairs : {false, true}) {
            std::vector<double> a = block;
            std::vector<int> exchange(static_cast<std::size_t>(n));
            const PivotCounts counts = pairs
                                           ? pivotBunchKaufman(a.data(), n, n, 1e-14, false, exchange.data())
                                           : pivotOnDiagonal(a.data(), n, n, 1e-14, false, exchange.data());
            if (counts.perturbed != 0) continue;
            EXPECT_EQ(counts.negative, negative) << n << ' ' << pairs;
            EXPECT_EQ(counts.positive, n - negative);
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
