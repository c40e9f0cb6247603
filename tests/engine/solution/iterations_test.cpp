// Both preconditioned iterations: where they arrive, how each status comes about, how they count.

#include <lintrix/engine/solution/conjugate_gradient.h>
#include <lintrix/engine/solution/conjugate_gradient_squared.h>

#include "tests/engine/solution/log_recorder.h"
#include "tests/engine/stored_system.h"

#include <cmath>
#include <optional>

namespace Velmar::Lintrix::testing {
namespace {

constexpr IterationTerms kTerms{1e-6, 10000.0, 100, 51};

template <class T>
IterationOutcome squared(const IterativeSystem<T>& system, const IterationTerms& terms)
{
    std::vector<T> work(static_cast<std::size_t>(conjugateGradientSquaredWork(system.n, system.count)));
    std::vector<SquaredScalars<T>> scalars(static_cast<std::size_t>(system.count));
    return conjugateGradientSquared(system, terms, work.data(), scalars.data());
}
template <class T>
IterationOutcome gradient(const IterativeSystem<T>& system, const IterationTerms& terms)
{
    std::vector<T> work(static_cast<std::size_t>(conjugateGradientWork(system.n, system.count)));
    std::vector<GradientScalars> scalars(static_cast<std::size_t>(system.count));
    return conjugateGradient(system, terms, work.data(), scalars.data());
}

TEST(IterationOutcomes, AreToldAsOneNumber)
{
    EXPECT_EQ((IterationOutcome{IterationStatus::Converged, 7}.told()), 7);
    EXPECT_EQ((IterationOutcome{IterationStatus::Diverged, 3}.told()), -31);
    EXPECT_EQ((IterationOutcome{IterationStatus::Slow, 51}.told()), -512);
    EXPECT_EQ((IterationOutcome{IterationStatus::BudgetUsed, 100}.told()), -1003);
    EXPECT_EQ((IterationOutcome{IterationStatus::Breakdown, 2}.told()), -24);
}

template <class T>
class Iterations : public ::testing::Test {
protected:
    // A grid's matrix and the factor of one whose values differ by up to `change`.
    struct Case {
        Case(Kind kind, double change, int threads = 1)
            : A(graph.view(), kind, 20, 3), near(A), stored(A, kind), op(stored.view(), threads)
        {
            std::mt19937 random(11);
            std::uniform_real_distribution<double> uniform(1 - change, 1 + change);
            for (T& value : near.values) value *= static_cast<RealOf<T>>(uniform(random));
            const FactorRules rules{kind == Kind::Unsymmetric ? Method::CompletePivoting
                                                              : Method::BunchKaufman,
                                    kind == Kind::Hermitian && kIsComplex<T>, 0.0};
            system.emplace(graph.view(), near, rules, threads);
        }
        IterationOutcome run(IterationOutcome (*iterate)(const IterativeSystem<T>&, const IterationTerms&),
                             int count, const IterationTerms& terms)
        {
            b = randomVector<T>(static_cast<std::size_t>(81 * count), 4);
            x.resize(b.size());
            system->solver.solve(b.data(), x.data(), count);
            return iterate({op.view, system->preconditioner(count), b.data(), x.data(), 81, count}, terms);
        }
        double largestResidual(int count)
        {
            std::vector<T> r(b.size());
            op.view.residual(b.data(), x.data(), r.data(), count);
            double largest = 0.0;
            for (const T value : r) largest = std::max<double>(largest, std::abs(value));
            return largest;
        }
        OwnedGraph graph = grid(9, 9);
        TestMatrix<T> A, near;
        CallersCopy<T> stored;
        OwnedOperator<T> op;
        std::optional<StoredSystem<T>> system;
        std::vector<T> b, x;
    };
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(Iterations, Scalars);

TYPED_TEST(Iterations, SquaredSolvesTheChangedMatrix)
{
    for (const Kind kind : {Kind::Unsymmetric, Kind::Symmetric, Kind::Hermitian}) {
        for (const int threads : {1, 2}) {
            for (const int count : {1, 3}) {
                typename TestFixture::Case c(kind, 0.1, threads);
                const IterationOutcome outcome = c.run(squared<TypeParam>, count, kTerms);
                EXPECT_EQ(outcome.status, IterationStatus::Converged);
                EXPECT_GT(outcome.iterations, 1);
                EXPECT_LT(outcome.iterations, 20);
                EXPECT_LT(c.largestResidual(count), 1000 * std::max(1e-12, kEpsilon<TypeParam>));
            }
        }
    }
}

TYPED_TEST(Iterations, AStartThatIsGoodEnoughIsOneIterationOfTheSquaredForm)
{
    typename TestFixture::Case c(Kind::Unsymmetric, 0.0);
    const IterationOutcome outcome = c.run(squared<TypeParam>, 2, {1e-3, 10000.0, 100, 51});
    EXPECT_EQ(outcome.status, IterationStatus::Converged);
    EXPECT_EQ(outcome.iterations, 1);
}

TYPED_TEST(Iterations, BudgetsEndTheSquaredForm)
{
    typename TestFixture::Case c(Kind::Unsymmetric, 0.5);
    const IterationOutcome used = c.run(squared<TypeParam>, 1, {1e-6, 10000.0, 3, 50});
    EXPECT_EQ(used.status, IterationStatus::BudgetUsed);
    EXPECT_EQ(used.iterations, 3);
    // At half of the budget, and only there, the root of the tolerance must have been passed.
    const IterationOutcome slow = c.run(squared<TypeParam>, 1, {1e-12, 10000.0, 100, 2});
    EXPECT_EQ(slow.status, IterationStatus::Slow);
    EXPECT_EQ(slow.iterations, 2);
    const IterationOutcome later = c.run(squared<TypeParam>, 1, {1e-12, 10000.0, 4, 1});
    EXPECT_EQ(later.status, IterationStatus::BudgetUsed);
    EXPECT_EQ(later.iterations, 4);
}

template <class T>
class RealIterations : public Iterations<T> {
};
using RealScalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RealIterations, RealScalars);

TYPED_TEST(RealIterations, GradientsSolveTheChangedMatrix)
{
    for (const int threads : {1, 2}) {
        for (const int count : {1, 3}) {
            typename TestFixture::Case c(Kind::Symmetric, 0.1, threads);
            const IterationOutcome outcome = c.run(gradient<TypeParam>, count, kTerms);
            EXPECT_EQ(outcome.status, IterationStatus::Converged);
            EXPECT_GT(outcome.iterations, 2);
            EXPECT_LT(outcome.iterations, 20);
            EXPECT_LT(c.largestResidual(count), 1e-4);
        }
    }
}

TYPED_TEST(RealIterations, AStartThatIsGoodEnoughIsToldAsTwoByGradients)
{
    typename TestFixture::Case c(Kind::Symmetric, 0.0);
    const IterationOutcome outcome = c.run(gradient<TypeParam>, 2, {1e-4, 10000.0, 100, 51});
    EXPECT_EQ(outcome.status, IterationStatus::Converged);
    EXPECT_EQ(outcome.iterations, 2);
}

TYPED_TEST(RealIterations, GradientsJudgeSlownessFromHalfOfTheBudgetOn)
{
    typename TestFixture::Case c(Kind::Symmetric, 0.5);
    const IterationOutcome used = c.run(gradient<TypeParam>, 1, {1e-6, 10000.0, 3, 50});
    EXPECT_EQ(used.status, IterationStatus::BudgetUsed);
    EXPECT_EQ(used.iterations, 3);
    const IterationOutcome slow = c.run(gradient<TypeParam>, 1, {1e-12, 10000.0, 100, 1});
    EXPECT_EQ(slow.status, IterationStatus::Slow);
    EXPECT_EQ(slow.iterations, 2);
}

// The identity, a preconditioner of the test's own, and a start of ones.
struct Small {
    std::vector<int> ia{1, 2, 3}, ja{1, 2};
    std::vector<double> a{1, 1}, b, x{1, 1};
    double start = 1.0; // every element of it

    IterationOutcome run(IterationOutcome (*iterate)(const IterativeSystem<double>&, const IterationTerms&),
                         const Preconditioner<double>& solve, const IterationTerms& terms = kTerms)
    {
        const OwnedOperator<double> op({2, ia.data(), ja.data(), a.data(), Storage::General, false}, 1);
        const auto count = static_cast<int>(b.size() / 2);
        x.assign(b.size(), start);
        return iterate({op.view, solve, b.data(), x.data(), 2, count}, terms);
    }
};

Preconditioner<double> times(std::vector<double> factors)
{
    return [factors](const double* r, double* z) {
        for (std::size_t i = 0; i < factors.size(); ++i) z[i] = factors[i] * r[i];
    };
}

TEST(IterationStatuses, GrowthPastTheBoundIsDivergence)
{
    Small system{.b = {3, -5}};
    const Preconditioner<double> growing = times({1e12, -1e12});
    EXPECT_EQ(system.run(squared<double>, growing, {1e-6, 1e3, 100, 51}).status, IterationStatus::Diverged);
    EXPECT_EQ(system.run(gradient<double>, growing).status, IterationStatus::Diverged);
}

TEST(IterationStatuses, AScalarThatCannotBeDividedByIsABreakdown)
{
    Small system{.b = {2, 2}};
    // The first direction is orthogonal to its image.
    const Preconditioner<double> turned = [](const double* r, double* z) {
        const double first = r[0];
        z[0] = r[1];
        z[1] = -first;
    };
    EXPECT_EQ(system.run(squared<double>, turned).status, IterationStatus::Breakdown);
    EXPECT_EQ(system.run(gradient<double>, turned).status, IterationStatus::Breakdown);
}

TEST(IterationStatuses, WhatIsNoNumberIsABreakdownAndNeverASuccess)
{
    Small system{.b = {2, 2, 1, 1}};
    const Preconditioner<double> broken = times({1, 1, std::nan(""), 1});
    EXPECT_EQ(system.run(squared<double>, broken).status, IterationStatus::Breakdown);
    EXPECT_EQ(system.run(gradient<double>, broken).status, IterationStatus::Breakdown);
}

// Norms hold where squares pass the range of a double or fall below it. The budget ends with the test of the
// start, which is the first of the squared form and the second of gradients.
TEST(IterationStatuses, AStartIsJudgedRightlyAtAnyScale)
{
    const auto isGood = [](double scale, double b0, double b1, double factor) {
        Small system{.b = {b0 * scale, b1 * scale}, .start = scale};
        const Preconditioner<double> solve = times({factor, factor});
        const bool good = system.run(squared<double>, solve, {1e-6, 10000.0, 1, 51}).told() > 0;
        EXPECT_EQ(system.run(gradient<double>, solve, {1e-6, 10000.0, 2, 51}).told() > 0, good);
        return good;
    };
    for (const double scale : {1e-300, 1e-170, 1e-156, 1e-100, 1e100, 1e156, 1e170, 1e300}) {
        SCOPED_TRACE(scale);
        EXPECT_FALSE(isGood(scale, 3, -5, 0.5));
        EXPECT_FALSE(isGood(scale, 1 + 1e-5, 1, 1));
        EXPECT_TRUE(isGood(scale, 1, 1, 1));
        EXPECT_TRUE(isGood(scale, 1 + 1e-13, 1, 1));
    }
}

TEST(IterationStatuses, AStartThatIsNotFiniteIsNoSuccess)
{
    using Limits = std::numeric_limits<double>;
    constexpr double infinity = Limits::infinity(), nan = Limits::quiet_NaN();
    for (const double start : {infinity, -infinity, nan}) {
        for (const auto iterate : {squared<double>, gradient<double>}) {
            for (const double factor : {1.0, 0.0}) {
                Small system{.b = {3, -5}, .start = start};
                EXPECT_NE(system.run(iterate, times({factor, factor})).status, IterationStatus::Converged)
                    << start << ' ' << factor;
            }
        }
    }
}

// What is logged, letter by letter. The identity with half of it as preconditioner: a start at twice the
// solution is left with a residual of its own size, and one iteration solves it.

TEST(IterationLog, OfGradientsTellsToleranceAndResidualThenEachNumber)
{
    const LogRecorder log;
    Small system{.b = {0.5, 0.5}};
    ASSERT_EQ(system.run(gradient<double>, times({0.5, 0.5})).told(), 3);
    constexpr const char* step = "(' cg-iteration:',f4.0,e12.3)";
    EXPECT_EQ(log.lines(),
              (std::vector<LogLine>{
                  {"(' cg-iteration:',2e12.3)", {1e-6, std::sqrt(0.5)}}, {step, {2, 0.25}}, {step, {3, 0}}}));
}

TEST(IterationLog, OfTheSquaredFormTellsItsStartThenEachNumber)
{
    const LogRecorder log;
    Small system{.b = {0.5, 0.5}};
    ASSERT_EQ(system.run(squared<double>, times({0.5, 0.5})).told(), 2);
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{"(' cgs-init:',f4.0,2(e12.3))", {1, 1e-6, 0.5}},
                                                 {"(' cgs-iteration:',f4.0,e12.3)", {2, 0}}}));
}

TEST(IterationLog, OfComplexElementsHasItsOwnFormat)
{
    using T = std::complex<double>;
    const LogRecorder log;
    const std::vector<int> ia{1, 2}, ja{1};
    const std::vector<T> a{1.0}, b{0.5};
    std::vector<T> x{1.0};
    const OwnedOperator<T> op({1, ia.data(), ja.data(), a.data(), Storage::General, false}, 1);
    const Preconditioner<T> half = [](const T* r, T* z) { *z = 0.5 * *r; };
    ASSERT_EQ(squared<T>({op.view, half, b.data(), x.data(), 1, 1}, kTerms).told(), 2);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[1], (LogLine{"(' cgs-iteration:',f3.0,e12.3)", {2, 0}}));
}

// One right-hand side is solved at once, or is 0; the others go on.
TEST(IterationStatuses, AFinishedRightHandSideWaitsForTheOthers)
{
    for (const std::vector<double>& b :
         {std::vector<double>{1, 1, 5, -3}, std::vector<double>{0, 0, 5, -3}}) {
        Small system{.b = b};
        EXPECT_EQ(system.run(squared<double>, times({1, 1, 1, 0.5})).status, IterationStatus::Converged);
        EXPECT_NEAR(system.x[2], 5, 1e-10);
        EXPECT_NEAR(system.x[3], -3, 1e-10);
        EXPECT_EQ(system.x[0], b[0]);
        EXPECT_EQ(system.run(gradient<double>, times({1, 1, 1, 0.5})).status, IterationStatus::Converged);
        EXPECT_NEAR(system.x[2], 5, 1e-5);
        EXPECT_NEAR(system.x[3], -3, 1e-5);
        EXPECT_EQ(system.x[1], b[1]);
    }
}

TEST(IterationStatuses, RightHandSidesAndStartOfZerosAreSolved)
{
    const std::vector<int> ia{1, 2, 3}, ja{1, 2};
    const std::vector<double> a{1, 1}, b{0, 0};
    std::vector<double> x{0, 0};
    const OwnedOperator<double> op({2, ia.data(), ja.data(), a.data(), Storage::General, false}, 1);
    const Preconditioner<double> solve = times({1, 1});
    EXPECT_EQ(squared<double>({op.view, solve, b.data(), x.data(), 2, 1}, kTerms).told(), 1);
    EXPECT_EQ(gradient<double>({op.view, solve, b.data(), x.data(), 2, 1}, kTerms).told(), 2);
    EXPECT_EQ(x, b);
}

} // namespace
} // namespace Velmar::Lintrix::testing
