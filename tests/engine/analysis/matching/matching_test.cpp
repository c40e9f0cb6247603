#include <lintrix/engine/analysis/matching/matching.h>

#include "tests/engine/analysis/matching/matching_support.h"
#include "tests/support/failing_allocator.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

using Dense = std::vector<std::vector<double>>;

// Places without an entry are 0.
SparseRows<double> sparse(const Dense& cells)
{
    SparseBuilder A(static_cast<int>(cells.size()));
    for (int i = 0; i < A.n(); ++i) {
        for (int j = 0; j < A.n(); ++j) {
            if (cells[i][j] != 0.0) A.put(i, j, cells[i][j]);
        }
    }
    return A.rows();
}

// The best of all permutations: pairs first, and of those with most pairs the largest sum of logarithms.
struct Best {
    int size = -1;
    double logProduct = 0.0;
};

Best bestOfAll(const Dense& cells)
{
    const int n = static_cast<int>(cells.size());
    std::vector<int> p(cells.size());
    std::iota(p.begin(), p.end(), 0);
    Best best;
    do {
        Best candidate{0, 0.0};
        for (int i = 0; i < n; ++i) {
            if (cells[i][p[i]] == 0.0) continue;
            ++candidate.size;
            candidate.logProduct += std::log(std::abs(cells[i][p[i]]));
        }
        if (candidate.size > best.size ||
            (candidate.size == best.size && candidate.logProduct > best.logProduct)) {
            best = candidate;
        }
    } while (std::next_permutation(p.begin(), p.end()));
    return best;
}

void expectBestOfAll(const Dense& cells)
{
    const SparseRows<double> A = sparse(cells);
    const Matched matched = match(A);
    const Best best = bestOfAll(cells);
    ASSERT_EQ(matched.size, best.size);
    expectMaximum(A, matched);
    if (best.size < A.n()) return; // which of the largest sets is left open
    EXPECT_NEAR(logProduct(A, matched.columnOfRow), best.logProduct, 1e-12);
}

TEST(Matching, IsTheBestOfAllPermutationsAtSmallOrders)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<double> exponent(-4.0, 4.0);
    for (int sample = 0; sample < 3000; ++sample) {
        SCOPED_TRACE(sample);
        const std::size_t n = 1 + random() % 6;
        const unsigned filledOfTen = 3 + random() % 8;
        Dense cells(n, std::vector<double>(n, 0.0));
        for (auto& row : cells) {
            for (double& cell : row) {
                if (random() % 10 < filledOfTen) cell = anySign(random) * std::pow(10.0, exponent(random));
            }
        }
        expectBestOfAll(cells);
    }
}

// Whole numbers of few values: ties everywhere.
TEST(Matching, IsTheBestOfAllPermutationsAmongTies)
{
    std::mt19937 random(12);
    for (int sample = 0; sample < 2000; ++sample) {
        SCOPED_TRACE(sample);
        const std::size_t n = 2 + random() % 5;
        Dense cells(n, std::vector<double>(n, 0.0));
        for (auto& row : cells) {
            for (double& cell : row) cell = static_cast<double>(random() % 3);
        }
        expectBestOfAll(cells);
    }
}

struct Case {
    std::string name;
    std::function<SparseRows<double>(int n, std::mt19937& random)> make;
};

std::vector<Case> families()
{
    return {
        {"circuit", [](int n, auto& r) { return circuitLike(n, r); }},
        {"tridiagonal", [](int n, auto& r) { return banded(n, 1, 6.0, r); }},
        {"band", [](int n, auto& r) { return banded(n, 4, 12.0, r); }},
        {"scattered", [](int n, auto& r) { return scattered(n, 3, true, r); }},
        {"scattered, structurally singular", [](int n, auto& r) { return scattered(n, 2, false, r); }},
        {"dense row and column", [](int n, auto& r) { return denseRowAndColumn(n, r); }},
        {"graded", [](int n, auto& r) { return graded(n, 5, 100.0, r); }},
        {"chain", [](int n, auto&) { return longChain(n); }},
        {"permuted band",
         [](int n, auto& r) { return withRowsMoved(banded(n, 2, 6.0, r), randomPermutation(n, r)); }},
        {"full", [](int n, auto& r) { return banded(std::min(n, 150), 150, 4.0, r); }},
    };
}

TEST(Matching, MeetsTheOptimalityConditionsForEveryFamily)
{
    for (const Case& family : families()) {
        for (const int n : {1, 2, 3, 10, 33, 500}) {
            SCOPED_TRACE(family.name + ", n = " + std::to_string(n));
            std::mt19937 random(static_cast<unsigned>(n));
            const SparseRows<double> A = family.make(n, random);
            expectMaximum(A, match(A));
        }
    }
}

TEST(Matching, FollowsRowsThatAreMoved)
{
    for (const Case& family : families()) {
        SCOPED_TRACE(family.name);
        std::mt19937 random(5);
        const SparseRows<double> A = family.make(200, random);
        const Matched matched = match(A);
        const std::vector<int> newRow = randomPermutation(A.n(), random);
        const SparseRows<double> moved = withRowsMoved(A, newRow);
        const Matched again = match(moved);
        EXPECT_EQ(again.size, matched.size);
        if (matched.size < A.n()) continue; // no product to compare
        const double product = logProduct(A, matched.columnOfRow);
        EXPECT_NEAR(logProduct(moved, again.columnOfRow), product, 1e-12 * (1.0 + std::abs(product)));
    }
}

TEST(Matching, OfOneEntryScalesItToOne)
{
    const Matched matched = match(sparse({{-8.0}}));
    ASSERT_FALSE(matched.failure);
    EXPECT_EQ(matched.columnOfRow[0], 0);
    EXPECT_EQ(matched.rowOfColumn[0], 0);
    EXPECT_DOUBLE_EQ(matched.u[0] + matched.v[0], -std::log(8.0));
}

TEST(Matching, OfNothingHasSizeZero)
{
    const SparseRows<double> empty{{0, 0, 0}, {}, {}};
    const Matched matched = match(empty);
    EXPECT_EQ(matched.failure.error, Error::Matching);
    EXPECT_EQ(matched.failure.internal, 0);
    EXPECT_EQ(matched.columnOfRow, (std::vector<int>{-1, -1}));
    EXPECT_EQ(matched.rowOfColumn, (std::vector<int>{-1, -1}));
}

TEST(Matching, PassesOverStoredZeros)
{
    const SparseRows<double> A{{0, 2, 4}, {0, 1, 0, 1}, {0.0, 1.0, 1e-300, 0.0}};
    const Matched matched = match(A);
    ASSERT_FALSE(matched.failure);
    EXPECT_EQ(matched.columnOfRow, (std::vector<int>{1, 0}));
}

TEST(Matching, PrefersTheDiagonalAmongEquals)
{
    const Matched matched = match(sparse({{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}));
    EXPECT_EQ(matched.columnOfRow, (std::vector<int>{0, 1, 2}));
}

TEST(Matching, IsTheDiagonalWhereEachColumnHasItsLargestThere)
{
    const SparseRows<double> A = sparse({{-4, 1, 0}, {4, 2, 1e-9}, {0, -2, 1e-8}});
    const Matched matched = match(A);
    ASSERT_FALSE(matched.failure);
    EXPECT_EQ(matched.columnOfRow, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(matched.rowOfColumn, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(matched.u, (std::vector<double>(3, 0.0)));
    EXPECT_EQ(matched.v, (std::vector<double>{-std::log(4.0), -std::log(2.0), -std::log(1e-8)}));
    expectMaximum(A, matched);
}

TEST(Matching, WeighsTheWholeProductAgainstTheLargestEntry)
{
    // Taking 10 leaves 1 * 1e-3 beside it; 9 * 8 is better.
    const Matched matched = match(sparse({{10, 9, 0}, {8, 1e-3, 0}, {0, 0, 1}}));
    EXPECT_EQ(matched.columnOfRow, (std::vector<int>{1, 0, 2}));
}

TEST(Matching, TakesRowsInAnyOrderAndPlacesTwice)
{
    const SparseRows<double> unsorted{{0, 3, 5}, {1, 0, 1, 1, 0}, {2.0, 1.0, 3.0, 1.0, 4.0}};
    const Matched matched = match(unsorted);
    EXPECT_EQ(matched.columnOfRow, (std::vector<int>{1, 0}));
    EXPECT_DOUBLE_EQ(matched.u[0] + matched.v[1], -std::log(3.0));
}

TEST(Matching, IsMaximumWhereRowsShareColumns)
{
    // Four rows live on two columns, two columns are empty.
    const SparseRows<double> A = sparse({{1, 2, 0, 0}, {3, 4, 0, 0}, {5, 6, 0, 0}, {7, 8, 0, 0}});
    const Matched matched = match(A);
    EXPECT_EQ(matched.failure.internal, -2);
    expectMaximum(A, matched);
    EXPECT_EQ(std::count(matched.columnOfRow.begin(), matched.columnOfRow.end(), -1), 2);
    EXPECT_EQ(std::count(matched.rowOfColumn.begin(), matched.rowOfColumn.end(), -1), 2);
}

TEST(Matching, StandsExtremeValues)
{
    constexpr double huge = 1e308, tiny = 5e-324;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    std::mt19937 random(8);
    const std::vector<double> values{huge, tiny, infinity, nan, 1.0, -1e-300, 1e300, 2e-310};
    for (int sample = 0; sample < 300; ++sample) {
        const int n = 1 + static_cast<int>(random() % 30);
        SparseBuilder builder(n);
        for (int k = 0; k < 4 * n; ++k) {
            builder.put(static_cast<int>(random() % n), static_cast<int>(random() % n),
                        values[random() % values.size()]);
        }
        for (int i = 0; i < n; ++i) builder.put(i, i, values[random() % values.size()]);
        const SparseRows<double> A = builder.rows();
        const Matched matched = match(A);
        expectMaximum(A, matched);
        for (int i = 0; i < n; ++i) {
            ASSERT_TRUE(std::isfinite(matched.u[i]) && std::isfinite(matched.v[i]));
        }
    }
}

TEST(Matching, OfALongChainIsTheWholeChain)
{
    const int n = 20000;
    const SparseRows<double> A = longChain(n);
    const Matched matched = match(A);
    ASSERT_FALSE(matched.failure);
    for (int i = 0; i + 1 < n; ++i) ASSERT_EQ(matched.columnOfRow[i], i + 1);
    EXPECT_LT(optimalityRatio(A, matched), kMatchingLimit);
}

TEST(Matching, GivesTheSameResultTwice)
{
    std::mt19937 random(6);
    const SparseRows<double> A = scattered(400, 4, true, random);
    const Matched one = match(A), other = match(A);
    EXPECT_EQ(one.columnOfRow, other.columnOfRow);
    EXPECT_EQ(one.u, other.u);
    EXPECT_EQ(one.v, other.v);
}

TEST(Matching, TellsWhenItsScratchHasNoMemory)
{
    std::mt19937 random(6);
    const SparseRows<double> A = banded(20, 2, 3.0, random);
    csr_new record;
    ASSERT_FALSE(copyMagnitudes(A.view(), Triangles::AsStored, record));
    const std::vector<double> magnitudes(record.m.span().begin(), record.m.span().end());
    Matched result(A.n());
    Matching matching{result.columnOfRow, result.rowOfColumn, result.u, result.v};
    int refusals = 0;
    for (;; ++refusals) {
        const FailingAllocator allocator(refusals);
        const Failure failure = matchMaximumProduct(record, matching);
        if (!failure) break;
        EXPECT_EQ(failure.error, Error::Memory);
        EXPECT_EQ(failure.internal, -402);
        EXPECT_TRUE(std::equal(magnitudes.begin(), magnitudes.end(), record.m.get()));
    }
    EXPECT_EQ(refusals, 8);
    EXPECT_EQ(matching.size, A.n());
}

} // namespace
} // namespace Velmar::Lintrix::testing
