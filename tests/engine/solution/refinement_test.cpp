// The rules by which refinement goes on and stops, with solves that are good, poor and useless on purpose.

#include <lintrix/engine/solution/refinement.h>

#include "tests/engine/solution/log_recorder.h"
#include "tests/engine/stored_system.h"

namespace Velmar::Lintrix::testing {
namespace {

// The identity, and a solve that takes away the share 1 - factor of each error.
struct Identity {
    static constexpr int n = 4;
    std::vector<int> ia{1, 2, 3, 4, 5}, ja{1, 2, 3, 4};
    std::vector<double> a{1, 1, 1, 1}, b{4, 3, 2, 1}, x{0, 0, 0, 0}, r{0, 0, 0, 0};

    Refinement refineWith(int limit, const Preconditioner<double>& solve)
    {
        const OwnedOperator<double> op({n, ia.data(), ja.data(), a.data(), Storage::General, false}, 1);
        return refine<double>(op.view, solve, b.data(), x.data(), n, 1, limit, r.data());
    }
    Refinement refineKeeping(int limit, double factor)
    {
        return refineWith(limit, [=](const double* in, double* out) {
            for (int i = 0; i < n; ++i) out[i] = (1 - factor) * in[i];
        });
    }
};

TEST(RefinementRules, OneStepAskedForIsOneStep)
{
    for (const int limit : {1, -1}) {
        Identity system;
        const Refinement done = system.refineKeeping(limit, 0.5);
        EXPECT_EQ(done.steps, 1);
        EXPECT_FALSE(done.failure);
        EXPECT_FALSE(done.automatic);
        EXPECT_EQ(system.x, (std::vector<double>{2, 1.5, 1, 0.5}));
    }
}

TEST(RefinementRules, NoneAskedForIsTwoStepsAndSaysSo)
{
    Identity system;
    const Refinement done = system.refineKeeping(0, 0.5);
    EXPECT_EQ(done.steps, 2);
    EXPECT_TRUE(done.automatic);
    EXPECT_FALSE(done.failure);
    EXPECT_EQ(system.x, (std::vector<double>{3, 2.25, 1.5, 0.75}));
}

TEST(RefinementRules, ContractionGoesOnToTheLimit)
{
    Identity system;
    EXPECT_EQ(system.refineKeeping(7, 0.5).steps, 7);
}

TEST(RefinementRules, ContractionIsToLessThanNineTenths)
{
    Identity contracts, stagnates;
    EXPECT_EQ(contracts.refineKeeping(9, 0.89).steps, 9);
    EXPECT_EQ(stagnates.refineKeeping(9, 0.91).steps, 4);
}

TEST(RefinementRules, AStagnantResidualGetsThreeStepsAndStopsInTheFourth)
{
    for (const int limit : {5, -5, 100, -2147483647 - 1}) {
        Identity system;
        const Refinement done = system.refineKeeping(limit, 1.0);
        EXPECT_EQ(done.steps, 4);
        EXPECT_FALSE(done.failure); // 0/0 is not above a half
        Identity slow;
        EXPECT_EQ(slow.refineKeeping(limit, 0.98).steps, 4);
    }
    Identity system;
    EXPECT_EQ(system.refineKeeping(3, 0.98).steps, 3);
}

TEST(RefinementRules, StagnationAfterTheFourthStepStopsAtOnce)
{
    Identity system;
    int calls = 0;
    const Refinement done = system.refineWith(20, [&](const double* in, double* out) {
        const double taken = ++calls <= 5 ? 0.5 : 0.01;
        for (int i = 0; i < Identity::n; ++i) out[i] = taken * in[i];
    });
    EXPECT_EQ(done.steps, 7); // the residual of the seventh has not fallen
    EXPECT_FALSE(done.failure);
}

TEST(RefinementRules, NoContractionAndASolutionThatStillChangesIsAFailure)
{
    for (const double factor : {-1.0, -2.0}) { // to the mirror image and back, or farther each time
        Identity system;
        const Refinement done = system.refineKeeping(9, factor);
        EXPECT_EQ(done.failure.error, Error::Numeric);
        EXPECT_EQ(done.failure.internal, -112);
        EXPECT_EQ(done.steps, 4);
    }
}

// Each step moves a component away from where it belongs; the last by a share of what it then is.
TEST(RefinementRules, ALastChangeOfMoreThanHalfTheSolutionIsTheFailure)
{
    for (const double share : {0.4, 0.6}) {
        Identity system;
        system.b = {1, 0, 0, 0};
        int calls = 0;
        const Refinement done = system.refineWith(9, [&](const double*, double* out) {
            std::fill_n(out, Identity::n, 0.0);
            out[3] = ++calls < 4 ? (1 - share) / 3 : share;
        });
        EXPECT_EQ(done.steps, 4);
        EXPECT_EQ(done.failure.internal, share > 0.5 ? -112 : 0);
    }
}

// Twice the first residual is what the second is compared with.
TEST(RefinementRules, AStartWorseThanNothingIsForgivenOnce)
{
    Identity system;
    system.x = {-40, -30, -20, -10}; // residual 11 b
    const Refinement done = system.refineKeeping(2, 0.5);
    EXPECT_EQ(done.steps, 2);
    EXPECT_FALSE(done.failure);
}

TEST(RefinementRules, RightHandSidesOfZerosStopByCount)
{
    for (const auto& [limit, steps] : {std::pair(0, 2), std::pair(3, 3), std::pair(9, 4)}) {
        Identity system;
        system.b = {0, 0, 0, 0};
        const Refinement done = system.refineKeeping(limit, 0.0);
        EXPECT_EQ(done.steps, steps);
        EXPECT_FALSE(done.failure);
        EXPECT_EQ(system.x, (std::vector<double>(4, 0.0)));
    }
}

// What is logged, letter by letter.

TEST(RefinementLog, TellsResidualAndChangeOfEachStep)
{
    const LogRecorder log;
    Identity system;
    system.refineKeeping(2, 0.5);
    constexpr const char* format = "(' ref_it:',f3.0,' rel res',e12.3,' rel err',e12.3)";
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{format, {1, 1, 1}}, {format, {2, 0.5, 2.5 / 7.5}}}));
}

TEST(RefinementLog, OfZeroRightHandSidesOrSolutionsTellsTheSumsThemselves)
{
    constexpr const char *change = "(' ref_it:',f3.0,' sumdx,sumx',2e12.3)",
                         *residual = "(' ref_it:',f3.0,' sumres,sumrhs',2e12.3)";
    const LogRecorder log;
    Identity zero;
    zero.b = {0, 0, 0, 0};
    zero.refineKeeping(1, 0.5);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{change, {1, 0, 0}}, {residual, {1, 0, 0}}}));
    log.lines().clear();
    Identity stagnant; // x stays 0
    stagnant.refineKeeping(1, 1.0);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{change, {1, 0, 0}}, {residual, {1, 10, 10}}}));
}

TEST(RefinementLog, OfComplexNumbersSumsTheirModuli)
{
    using T = std::complex<double>;
    const LogRecorder log;
    const std::vector<int> ia{1, 2, 3}, ja{1, 2};
    const std::vector<T> a{1, 1}, b{{3, 4}, {-5, 12}};
    std::vector<T> x(2), r(2);
    const OwnedOperator<T> op({2, ia.data(), ja.data(), a.data(), Storage::General, false}, 1);
    const Preconditioner<T> none = [](const T*, T* z) { z[0] = z[1] = 0; };
    refine<T>(op.view, none, b.data(), x.data(), 2, 1, 1, r.data());
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[1], (LogLine{"(' ref_it:',f3.0,' sumres,sumrhs',2e12.3)", {1, 5 + 13, 5 + 13}}));
}

TEST(RefinementLog, WarnsOfAFirstResidualAboveTheRightHandSide)
{
    const LogRecorder log;
    Identity system;
    system.x = {-40, -30, -20, -10};
    system.refineKeeping(2, 0.0);
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_EQ(log.lines()[1],
              (LogLine{"('*** warning ref_it:',f3.0,' sumres,sumrhs',2e12.3)", {1, 110, 10}}));
}

template <class T>
class RefinementOf : public ::testing::Test {
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(RefinementOf, Scalars);

// The factor of a neighbouring matrix gains digits step by step, down to roundoff.
TYPED_TEST(RefinementOf, ANeighboursFactorIsMadeGood)
{
    using T = TypeParam;
    const OwnedGraph graph = grid(9, 9);
    for (const Kind kind : {Kind::Unsymmetric, Kind::Symmetric, Kind::Hermitian}) {
        const TestMatrix<T> A(graph.view(), kind, 20, 3);
        TestMatrix<T> near = A;
        for (T& value : near.values) value *= RealOf<T>(1.01);
        const FactorRules rules{kind == Kind::Unsymmetric ? Method::CompletePivoting : Method::BunchKaufman,
                                kind == Kind::Hermitian && kIsComplex<T>, 0.0};
        const StoredSystem<T> system(graph.view(), near, rules, 2);
        const CallersCopy<T> stored(A, kind);
        const OwnedOperator<T> op(stored.view(), 2);
        const auto b = randomVector<T>(81 * 3, 4);
        for (const int limit : {20, -20}) {
            std::vector<T> x(b.size()), r(b.size());
            system.solver.solve(b.data(), x.data(), 3);
            EXPECT_FALSE(refine(op.view, system.preconditioner(3), b.data(), x.data(), 81, 3, limit, r.data())
                             .failure);
            op.view.residual(b.data(), x.data(), r.data(), 3);
            double residual = 0.0;
            for (const T value : r) residual = std::max<double>(residual, std::abs(value));
            EXPECT_LT(residual, 100 * kEpsilon<T>);
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
