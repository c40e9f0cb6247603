// Factorization and substitution of every method and element type, judged by residuals.

#include "tests/engine/factorization/factorization_case.h"
#include "tests/support/failing_allocator.h"
#include "tests/support/thread_setting.h"

#include <chrono>
#include <thread>

namespace Velmar::Lintrix::testing {
namespace {

constexpr double kAcceptable = 30.0;

template <class T>
class Factorization : public ::testing::Test {
protected:
    // Grids, random graphs from empty to dense, a path, a star, single vertices.
    static std::vector<OwnedGraph> graphs()
    {
        std::vector<OwnedGraph> all{grid(1, 1), grid(1, 2), grid(1, 3), grid(7, 9), grid(1, 40)};
        for (unsigned seed = 0; seed < 8; ++seed) {
            all.push_back(randomGraph(10 + 9 * static_cast<int>(seed), 40 * static_cast<int>(seed), seed));
        }
        std::set<std::pair<int, int>> star;
        for (int i = 1; i < 30; ++i) star.emplace(0, i);
        all.push_back(graphOf(30, star));
        all.push_back(randomGraph(60, 20000, 3)); // complete
        return all;
    }

    static void expectSolved(Method method, Kind kind, RealOf<T> diagonal)
    {
        const FactorRules rules{method, kind == Kind::Hermitian && kIsComplex<T>, 0.0};
        for (const OwnedGraph& graph : graphs()) {
            const TestMatrix<T> A(graph.view(), kind, diagonal, 17);
            for (const int width : {1, 4, 128}) {
                for (const int threads : {1, 2, 4}) {
                    FactorizationCase<T> c(graph.view(), A, rules, width, threads);
                    const FactorResult result = c.factorizeIt();
                    ASSERT_FALSE(result.failure) << result.failure.internal;
                    EXPECT_EQ(result.pivots.perturbed, 0);
                    for (const int sides : {1, 3}) {
                        EXPECT_LT(c.residualRatio(sides), kAcceptable)
                            << "n " << graph.view().vertices() << ", width " << width << ", threads "
                            << threads;
                        if (kind == Kind::Unsymmetric) {
                            EXPECT_LT(c.residualRatio(sides, true), kAcceptable);
                        }
                    }
                }
            }
        }
    }
};

using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(Factorization, Scalars);

TYPED_TEST(Factorization, CompletePivotingSolves)
{
    this->expectSolved(Method::CompletePivoting, Kind::Unsymmetric, 30);
}
TYPED_TEST(Factorization, RowPivotingSolves)
{
    this->expectSolved(Method::RowPivoting, Kind::Unsymmetric, 30);
}
TYPED_TEST(Factorization, CholeskySolves)
{
    this->expectSolved(Method::Cholesky, Kind::Hermitian, 100);
}
TYPED_TEST(Factorization, DiagonalPivotingSolves)
{
    this->expectSolved(Method::DiagonalPivoting, Kind::Symmetric, -30);
    this->expectSolved(Method::DiagonalPivoting, Kind::Hermitian, 30);
}
TYPED_TEST(Factorization, BunchKaufmanSolves)
{
    this->expectSolved(Method::BunchKaufman, Kind::Symmetric, 30);
    this->expectSolved(Method::BunchKaufman, Kind::Hermitian, -30);
}

// One block without a diagonal to speak of: pivots have to be looked for.
TYPED_TEST(Factorization, ABlockThatNeedsPivotsIsSolved)
{
    const OwnedGraph graph = randomGraph(60, 20000, 3);
    for (const Kind kind : {Kind::Symmetric, Kind::Hermitian}) {
        const TestMatrix<TypeParam> A(graph.view(), kind, 0, 5);
        FactorizationCase<TypeParam> c(graph.view(), A, {Method::BunchKaufman, kind == Kind::Hermitian, 0.0},
                                       128, 1);
        ASSERT_FALSE(c.factorizeIt().failure);
        EXPECT_LT(c.residualRatio(2), 10 * kAcceptable); // the growth of Bunch-Kaufman
    }
    const TestMatrix<TypeParam> A(graph.view(), Kind::Unsymmetric, 0, 6);
    for (const Method method : {Method::CompletePivoting, Method::RowPivoting}) {
        FactorizationCase<TypeParam> c(graph.view(), A, {method, false, 0.0}, 128, 1);
        ASSERT_FALSE(c.factorizeIt().failure);
        EXPECT_LT(c.residualRatio(2), kAcceptable);
        EXPECT_LT(c.residualRatio(2, true), kAcceptable);
    }
}

// One run of supernodes is one thread's, and BLAS must not take those that are left idle.
TYPED_TEST(Factorization, AFactorOfOneRunHasTheSameBitsWhateverBlasMayUse)
{
    const OwnedGraph graph = randomGraph(240, 100000, 3); // nearly complete
    const TestMatrix<TypeParam> A(graph.view(), Kind::Hermitian, 300, 17);
    const FactorRules rules{Method::Cholesky, kIsComplex<TypeParam>, 0.0};
    const auto factorizeWith = [](FactorizationCase<TypeParam>& factorization, int blasThreads) {
        const ThreadSetting setting(blasThreads);
        ASSERT_FALSE(factorization.factorizeIt().failure);
    };
    FactorizationCase<TypeParam> one(graph.view(), A, rules, 128, 2), two(graph.view(), A, rules, 128, 2);
    factorizeWith(one, 1);
    factorizeWith(two, 2);
    EXPECT_TRUE(two.hasBitsOf(one));
}

TYPED_TEST(Factorization, AFactorHasTheSameBitsUnderRandomDelaysAndWithAnyThreads)
{
    const OwnedGraph graph = grid(15, 17);
    const auto sleepy = [](void* context, int, int) {
        auto& random = *static_cast<std::mt19937*>(context);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 50));
        return 0;
    };
    std::mt19937 random(4);
    for (const Method method : {Method::CompletePivoting, Method::RowPivoting, Method::Cholesky,
                                Method::DiagonalPivoting, Method::BunchKaufman}) {
        const Kind kind = isUnsymmetric(method) ? Kind::Unsymmetric : Kind::Hermitian;
        const TestMatrix<TypeParam> A(graph.view(), kind, 30, 9);
        const FactorRules rules{method, kind == Kind::Hermitian && kIsComplex<TypeParam>, 0.0};
        FactorizationCase<TypeParam> reference(graph.view(), A, rules, 8, 1);
        ASSERT_FALSE(reference.factorizeIt().failure);
        for (int run = 0; run < 20; ++run) {
            FactorizationCase<TypeParam> c(graph.view(), A, rules, 8, 2 + run % 3);
            ASSERT_FALSE(c.factorizeIt({sleepy, &random}).failure);
            ASSERT_TRUE(c.hasBitsOf(reference)) << "method " << static_cast<int>(method) << ", run " << run;
        }
    }
}

TEST(FactorizationFailure, CholeskyNamesTheColumnThatIsNotPositive)
{
    const OwnedGraph graph = grid(4, 4);
    TestMatrix<double> A(graph.view(), Kind::Symmetric, 10, 1);
    const int vertex = 9;
    A.values[static_cast<std::size_t>(A.starts[vertex])] = -1.0; // the diagonal stands first
    FactorizationCase<double> c(graph.view(), A, {Method::Cholesky, false, 0.0}, 128, 1);
    const FactorResult result = c.factorizeIt();
    EXPECT_EQ(result.failure.error, Error::Numeric);
    EXPECT_EQ(result.failure.internal, c.p.ordering.positionOf[vertex] + 1);
}

TEST(FactorizationFailure, RowPivotingStopsAtAnExactZero)
{
    const OwnedGraph graph = graphOf(3, {});
    TestMatrix<double> A(graph.view(), Kind::Unsymmetric, 10, 1);
    A.values[1] = 0.0;
    FactorizationCase<double> c(graph.view(), A, {Method::RowPivoting, false, 0.0}, 128, 2);
    const FactorResult result = c.factorizeIt();
    EXPECT_EQ(result.failure.error, Error::Numeric);
    EXPECT_EQ(result.failure.internal, c.p.ordering.positionOf[1] + 1);
}

TEST(FactorizationFailure, TheListenerStopsItAtAnyPercentage)
{
    const OwnedGraph graph = grid(10, 10);
    const TestMatrix<double> A(graph.view(), Kind::Symmetric, 10, 1);
    for (const int threads : {1, 2}) {
        for (const int stop : {0, 30, 99, 100}) {
            FactorizationCase<double> c(graph.view(), A, {Method::Cholesky, false, 0.0}, 8, threads);
            struct Context {
                int stop, last = -1;
                bool rising = true;
            } context{stop};
            const auto step = [](void* p, int, int percent) {
                auto& seen = *static_cast<Context*>(p);
                seen.rising = seen.rising && percent > seen.last;
                seen.last = percent;
                return percent >= seen.stop ? 1 : 0;
            };
            const FactorResult result = c.factorizeIt({step, &context});
            EXPECT_EQ(result.failure.error, Error::Numeric);
            EXPECT_EQ(result.failure.internal, -1);
            EXPECT_TRUE(context.rising);
            EXPECT_FALSE(c.factorizeIt().failure) << "usable again";
        }
    }
}

TEST(FactorizationFailure, MissingWorkSpaceOfAnyThreadIsRealWork)
{
    const OwnedGraph graph = grid(5, 5);
    const TestMatrix<double> A(graph.view(), Kind::Symmetric, 10, 1);
    for (const int threads : {1, 3}) {
        FactorizationCase<double> c(graph.view(), A, {Method::Cholesky, false, 0.0}, 8, threads);
        for (int k = 0; k < 1 + 4 * threads; ++k) {
            const FailingAllocator failing(k);
            const Failure failure = c.factorizeIt().failure;
            EXPECT_EQ(failure.error, Error::Memory) << k;
            EXPECT_EQ(failure.internal, -1200) << k;
            EXPECT_GT(failure.bytes, 0) << k;
        }
        EXPECT_FALSE(c.factorizeIt().failure);
    }
}

TEST(Runs, CoverEachSupernodeOnceAndNeedOnlyEarlierOnes)
{
    for (const int threads : {1, 2, 4}) {
        for (const auto& ranges :
             {std::vector<PositionRange>{}, std::vector<PositionRange>{{0, 90}, {91, 181}, {182, 194}}}) {
            const OwnedGraph graph = grid(13, 15);
            const Pipeline p(graph.view(), randomOrdering(195, 8), 4, false, ranges);
            const FactorStructure s = p.structure();
            std::vector<PositionRange> runs(static_cast<std::size_t>(s.supernodes()));
            std::vector<double> work(runs.size());
            runs.resize(static_cast<std::size_t>(dealOutSubtrees(s, threads, work, runs)));
            std::vector<int> runOf(work.size(), -1);
            for (std::size_t r = 0; r < runs.size(); ++r) {
                for (int J = runs[r].first; J <= runs[r].last; ++J) {
                    EXPECT_EQ(runOf[static_cast<std::size_t>(J)], -1);
                    runOf[static_cast<std::size_t>(J)] = static_cast<int>(r);
                }
            }
            for (int K = 0; K < s.supernodes(); ++K) {
                ASSERT_GE(runOf[static_cast<std::size_t>(K)], 0);
                for (const int row : s.rowsBelow(K)) {
                    const int J = s.supernodeOf[static_cast<std::size_t>(row)];
                    EXPECT_LE(runOf[static_cast<std::size_t>(K)], runOf[static_cast<std::size_t>(J)]);
                }
            }
        }
    }
}

TEST(Runs, OfSubgraphsComeBeforeTheSupernodesOfSeparators)
{
    // One column each, joined to nothing, but for 10 to 12, each with the rows that the next has.
    std::vector<int> starts(15), supernodeOf(14), rows;
    std::vector<std::int64_t> rowStarts{0};
    std::iota(starts.begin(), starts.end(), 0);
    std::iota(supernodeOf.begin(), supernodeOf.end(), 0);
    for (int J = 0; J < 14; ++J) {
        for (int row = J; row <= (10 <= J && J <= 12 ? 12 : J); ++row) rows.push_back(row);
        rowStarts.push_back(static_cast<std::int64_t>(rows.size()));
    }
    const FactorStructure structure{starts, supernodeOf, rowStarts, rows};
    const std::vector<PositionRange> supernodes{{0, 4}, {5, 4}, {5, 9}, {10, 12}, {13, 13}};
    std::vector<PositionRange> runs(20);
    ASSERT_EQ(dealOutSubgraphs(structure, supernodes, 3, runs), 5);
    const std::vector<std::pair<int, int>> expected{{0, 4}, {5, 9}, {10, 11}, {12, 12}, {13, 13}};
    for (std::size_t r = 0; r < expected.size(); ++r) {
        EXPECT_EQ(runs[r].first, expected[r].first);
        EXPECT_EQ(runs[r].last, expected[r].second);
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
