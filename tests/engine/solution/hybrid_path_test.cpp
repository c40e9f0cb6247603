// The hybrid path as callers see it: when a factor is kept, when one is made, what is told.

#include "tests/engine/solution/solve_observation.h"

#include <cmath>
#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

/// A call on the hybrid path whose stored factor is dear: it is worth a hundred iterations.
struct Hybrid : SolveCall<double> {
    Hybrid(int mtype, int setting) : SolveCall(systemOf<double>(gridShape(12, 12, 1), mtype), 2)
    {
        set(4, setting);
        set(13, 0); // A changes, and the matching is that of the analysis
        EXPECT_EQ(run(13), 0);
        makeFactorDear();
    }
    void makeFactorDear()
    {
        controlOf(*this)[Word::IterationBudget] = 100;
        controlOf(*this)[Real::FactorSeconds] = 1000.0;
    }
    void change(double by)
    {
        std::mt19937 random(5);
        std::uniform_real_distribution<double> uniform(1 - by, 1 + by);
        for (double& value : A.a) value *= uniform(random);
    }
};

TEST(HybridPath, SolvesTheFactoredMatrixInOneIteration)
{
    for (const int mtype : {11, 2}) {
        Hybrid call(mtype, 61);
        ASSERT_EQ(call.run(33), 0);
        EXPECT_EQ(call.iparm(20), 1);
        EXPECT_EQ(call.iparm(7), 0);
        EXPECT_LT(call.scaledResidual(), 1e-12);
    }
    for (const int setting : {62, -62}) {
        Hybrid gradients(2, setting);
        ASSERT_EQ(gradients.run(33), 0);
        EXPECT_EQ(gradients.iparm(20), 2) << "the count of gradients begins at 1";
    }
}

TEST(HybridPath, KeepsTheFactorForASlightlyChangedMatrix)
{
    for (const auto& [mtype, setting] :
         {std::pair(11, 61), std::pair(2, 62), std::pair(-2, 61), std::pair(1, 61)}) {
        for (const int phase : {23, 33}) {
            Hybrid call(mtype, setting);
            call.change(0.01);
            const FactorizationCount factorizations;
            ASSERT_EQ(call.run(phase), 0);
            EXPECT_EQ(factorizations.count(), 0);
            EXPECT_GT(call.iparm(20), 1);
            EXPECT_EQ(controlOf(call)[Word::IterationBudget], 100);
            EXPECT_EQ(controlOf(call)[Word::HalfBudget], 51);
            EXPECT_LT(call.scaledResidual(), setting == 61 ? 1e-11 : 1e-6) << mtype << ' ' << setting;
        }
    }
}

// 10^-L; without an L the default, whatever the call before had.
TEST(HybridPath, StopsAtTheToleranceOfTheCall)
{
    for (const int kind : {1, 2}) {
        Hybrid call(2, 30 + kind);
        call.change(0.05);
        int before = 0;
        for (const auto& [exponent, tolerance] :
             {std::pair(3, 1e-3), std::pair(6, 1e-6), std::pair(0, 1e-12)}) {
            call.set(4, 10 * exponent + kind);
            ASSERT_EQ(call.run(33), 0);
            EXPECT_NEAR(controlOf(call)[Real::Tolerance] / tolerance, 1.0, 1e-12);
            EXPECT_GT(call.iparm(20), before) << "more digits take more iterations";
            before = call.iparm(20);
            call.makeFactorDear();
        }
        call.set(4, 30 + kind);
        ASSERT_EQ(call.run(33), 0);
        EXPECT_LT(call.iparm(20), before);
    }
}

TEST(HybridPath, NeverRefines)
{
    Hybrid call(11, 61);
    call.set(8, 5);
    call.set(14, 3);
    ASSERT_EQ(call.run(33), 0);
    EXPECT_EQ(call.iparm(7), 0);
    EXPECT_EQ(call.iparm(20), 1);
}

TEST(HybridPath, FactorizationAloneDoesNothingWhileTheFactorWillDo)
{
    Hybrid call(11, 61);
    const FactorizationCount factorizations;
    ASSERT_EQ(call.run(22), 0);
    EXPECT_EQ(factorizations.count(), 0);
    controlOf(call)[Word::IterationBudget] = 4;
    ASSERT_EQ(call.run(22), 0);
    EXPECT_EQ(factorizations.count(), 1);
    EXPECT_EQ(controlOf(call)[Word::IterationBudget], 4);
    ASSERT_EQ(call.run(23), 0); // four iterations are too few to go on with
    EXPECT_EQ(factorizations.count(), 2);
}

TEST(HybridPath, SolvesWithoutAFactorByMakingOne)
{
    SolveCall<double> call(systemOf<double>(gridShape(12, 12, 1), 11));
    call.set(4, 61);
    ASSERT_EQ(call.run(11), 0);
    const FactorizationCount factorizations;
    ASSERT_EQ(call.run(33), 0);
    EXPECT_EQ(factorizations.count(), 1);
    EXPECT_EQ(call.iparm(20), 1);
}

TEST(HybridPath, AFailingIterationBelowPhase30FactorizesAndSucceeds)
{
    for (const int setting : {61, 62}) {
        Hybrid call(2, setting);
        for (int i = 0; i < call.A.n; ++i) { // the diagonal stands first in a row
            call.A.a[static_cast<std::size_t>(call.A.ia[static_cast<std::size_t>(i)]) - 1] *=
                std::pow(10.0, 8.0 * i / call.A.n);
        }
        const FactorizationCount factorizations;
        call.msglvl = -1;
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(call.run(23), 0);
        EXPECT_EQ(::testing::internal::GetCapturedStdout().find("Error"), std::string::npos);
        call.msglvl = 0;
        EXPECT_EQ(factorizations.count(), 1);
        EXPECT_GT(call.iparm(20), 0);
        EXPECT_EQ(call.iparm(30), 0);
        EXPECT_LT(call.scaledResidual(), 1e-12);
    }
}

TEST(HybridPath, AFailingIterationOfASolveAloneIsToldAndTheNextPhase23Recovers)
{
    Hybrid call(11, 61);
    call.A = systemOf<double>(gridShape(12, 12, 1), 11, 77);
    for (std::size_t k = 0; k < call.A.a.size(); k += 2) call.A.a[k] *= 1e4;
    call.msglvl = -1;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(call.run(33), -4);
    const std::string text = ::testing::internal::GetCapturedStdout();
    call.msglvl = 0;
    EXPECT_LT(call.iparm(20), -10);
    EXPECT_EQ(text, "*** Error in PARDISO  ( numerical_factorization) error_num= " +
                        std::to_string(call.iparm(30)) + "\n*** Error in PARDISO: cgs error iparam(20) " +
                        std::to_string(call.iparm(20)) + "\n");
    const int status = call.iparm(20) % 10;
    EXPECT_EQ(call.iparm(30), status == -4 ? -2 : -3);
    EXPECT_EQ(controlOf(call)[Word::FactorNeeded], 1);
    const FactorizationCount factorizations;
    EXPECT_EQ(call.run(23), 0);
    EXPECT_EQ(factorizations.count(), 1);
    EXPECT_GT(call.iparm(20), 0);
    EXPECT_EQ(controlOf(call)[Word::FactorNeeded], 0);
}

TEST(HybridPath, IteratingFirstFactorizesOnlyAfterAFailure)
{
    Hybrid call(11, -61);
    EXPECT_EQ(call.iparm(20), 1);
    controlOf(call)[Word::IterationBudget] = 4;
    call.change(0.01);
    const FactorizationCount factorizations;
    ASSERT_EQ(call.run(23), 0);
    EXPECT_EQ(factorizations.count(), 0);
    EXPECT_EQ(controlOf(call)[Word::IterationBudget], 150);
    EXPECT_EQ(controlOf(call)[Word::HalfBudget], 76);
    for (std::size_t k = 0; k < call.A.a.size(); k += 2) call.A.a[k] *= 1e4;
    EXPECT_EQ(call.run(23), -4);
    EXPECT_LT(call.iparm(20), 0);
    EXPECT_EQ(factorizations.count(), 0);
    EXPECT_EQ(call.run(23), 0);
    EXPECT_EQ(factorizations.count(), 1);
    EXPECT_GT(call.iparm(20), 0);
}

// Squares of such solutions, or of their corrections, are no doubles any more.
TEST(HybridPath, AChangedMatrixIsSolvedAtAnyScaleOfItsSolution)
{
    const ThreadSetting one(1);
    for (const auto& [mtype, setting] : {std::pair(11, 61), std::pair(2, 62)}) {
        for (const double scale : {1e-250, 1e-170, 1e-156, 1e156, 1e170, 1e250}) {
            SCOPED_TRACE(scale);
            Hybrid call(mtype, setting);
            call.change(0.05);
            for (double& value : call.b) value *= scale;
            ASSERT_EQ(call.run(23), 0);
            EXPECT_LT(call.scaledResidual(), setting == 61 ? 1e-11 : 1e-6);
        }
    }
}

/// A call whose iteration fails, and whose direct solution is poor: every pivot is replaced by a larger one,
/// which makes the factor one of another matrix, and 10^-200 takes more than the largest budget.
template <class T>
struct Unreachable : SolveCall<T> {
    Unreachable(int mtype, int kind) : SolveCall<T>(systemOf<T>(gridShape(12, 12, 1), mtype), 2)
    {
        for (T& value : this->A.a) value *= static_cast<RealOf<T>>(1e-4);
        this->set(10, 1);
        this->set(11, 0);
        this->set(13, 0);
        this->set(21, 0);
        this->set(4, kind < 0 ? kind - 2000 : kind + 2000);
    }
    ThreadSetting one{1}; // sums have one order, and nobody waits for anybody in a thousand iterations
};

/// Expects what `iparm(4)` 0 gives, in `x` or, by `iparm(6)`, in `b`.
template <class T>
void expectDirectSolution(SolveCall<T>& call, int phase)
{
    SCOPED_TRACE(::testing::Message() << "type " << call.A.mtype << ", phase " << phase);
    SolveCall<T> direct(call.A, 2);
    direct.parameters = call.parameters;
    direct.set(4, 0);
    direct.b = call.b;
    EXPECT_EQ(direct.run(13), 0);
    std::fill(call.x.begin(), call.x.end(), T(0));
    EXPECT_EQ(call.run(phase), 0);
    EXPECT_LT(call.iparm(20), -10) << "the iteration is told all the same";
    EXPECT_EQ(call.iparm(7), direct.iparm(7));
    EXPECT_EQ(call.iparm(30), 0);
    EXPECT_EQ(call.iparm(6) == 1 ? call.b : call.x, call.iparm(6) == 1 ? direct.b : direct.x);
}

// Another factor of the same values would be the same one: it is not made, and what the direct solve gives is
// the answer, with the factor of this call or of an earlier one.
template <class T>
void testFailureWithTheFactorOfTheMatrix(int mtype, int kind)
{
    Unreachable<T> call(mtype, kind);
    const FactorizationCount factorizations;
    expectDirectSolution(call, 13);
    const int before = factorizations.count();
    expectDirectSolution(call, 33);
    expectDirectSolution(call, 23);
    EXPECT_EQ(factorizations.count(), before + 3) << "one by phase 23, two by the direct solves";
    EXPECT_EQ(call.run(0), 0);
    call.set(26, 1);                // nor are the steps of refinement forced upon anybody
    expectDirectSolution(call, 33); // becomes a phase 23
    call.set(6, 1);
    expectDirectSolution(call, 23);
}

TEST(HybridPath, AnIterationThatFailsWithTheFactorOfItsMatrixLeavesTheDirectSolution)
{
    for (const auto& [mtype, kind] : {std::pair(11, 1), std::pair(-2, 2), std::pair(-2, 1)}) {
        testFailureWithTheFactorOfTheMatrix<double>(mtype, kind);
        testFailureWithTheFactorOfTheMatrix<float>(mtype, kind);
    }
    for (const int mtype : {-4, 6, 13}) {
        testFailureWithTheFactorOfTheMatrix<std::complex<double>>(mtype, 1);
        testFailureWithTheFactorOfTheMatrix<std::complex<float>>(mtype, 2);
    }
}

// How many iterations there may be is up to the clock; whether a system is solved is not.
TEST(HybridPath, TheBudgetDoesNotDecideWhetherTheFactoredMatrixIsSolved)
{
    for (const double factorSeconds : {0.0, 1000.0}) {
        Unreachable<double> call(11, 1);
        ASSERT_EQ(call.run(12), 0);
        controlOf(call)[Real::FactorSeconds] = factorSeconds;
        expectDirectSolution(call, 33);
        EXPECT_EQ(controlOf(call)[Word::IterationBudget], factorSeconds == 0.0 ? 2 : 100);
    }
}

/// ||b - A x|| / (||A|| ||x|| + ||b||) of each right-hand side: max |a_ij| is the norm of A where ||x|| is a
/// sum of magnitudes and those of residual and b are the largest one.
template <class T>
std::vector<double> backwardErrors(const SolveCall<T>& call)
{
    const auto n = static_cast<std::size_t>(call.A.n);
    std::vector<double> errors;
    for (std::size_t first = 0; first < call.size(); first += n) {
        std::vector<std::complex<double>> r(call.b.begin() + static_cast<std::ptrdiff_t>(first),
                                            call.b.begin() + static_cast<std::ptrdiff_t>(first + n));
        double entry = 0.0, left = 0.0, solution = 0.0, right = 0.0;
        call.A.forEach(false, [&](int i, int j, T value) {
            const auto column = static_cast<std::size_t>(j);
            r[static_cast<std::size_t>(i)] -=
                std::complex<double>(value) * std::complex<double>(call.x[first + column]);
            entry = std::max<double>(entry, std::abs(value));
        });
        for (std::size_t i = 0; i < n; ++i) {
            left = std::max(left, std::abs(r[i]));
            solution += std::abs(call.x[first + i]);
            right = std::max<double>(right, std::abs(call.b[first + i]));
        }
        errors.push_back(left / (entry * solution + right));
    }
    return errors;
}

/// A call on the hybrid path, whose pivots come from zeros on the diagonal and are perturbed.
template <class T>
void expectNoWorseThanDirect(int mtype, int kind)
{
    for (const unsigned seed : {1U, 2U, 3U}) {
        SCOPED_TRACE(::testing::Message() << "type " << mtype << ", kind " << kind << ", seed " << seed);
        const ThreadSetting one(1);
        SolveCall<T> call(systemOf<T>(saddleShape(), mtype, seed), 2), direct(call.A, 2);
        for (SolveCall<T>* const each : {&call, &direct}) {
            for (const int parameter : {11, 13, 21}) each->set(parameter, 0);
            each->set(10, 6);
        }
        call.set(4, (sizeof(RealOf<T>) == sizeof(float) ? 20 : 60) + kind);
        for (const int phase : {13, 33}) {
            ASSERT_EQ(direct.run(phase), 0);
            ASSERT_EQ(call.run(phase), 0);
            EXPECT_GT(call.iparm(14), 0);
            if (call.iparm(20) > 0) {
                EXPECT_EQ(call.iparm(7), 0);
            }
            const std::vector<double> own = backwardErrors(call), others = backwardErrors(direct);
            for (std::size_t c = 0; c < own.size(); ++c) // which the engine compares as rounded to T
                EXPECT_LT(own[c], 2 * others[c] + std::numeric_limits<RealOf<T>>::epsilon()) << c;
        }
    }
}

// The iteration ends by its tolerance; a factor of this very matrix may give more digits than that.
TEST(HybridPath, WithTheFactorOfItsMatrixASolutionIsNeverWorseThanTheDirectOne)
{
    for (const int kind : {1, 2}) {
        expectNoWorseThanDirect<double>(-2, kind);
        expectNoWorseThanDirect<float>(-2, kind);
        for (const int mtype : {-4, 6}) {
            expectNoWorseThanDirect<std::complex<double>>(mtype, kind);
            expectNoWorseThanDirect<std::complex<float>>(mtype, kind);
        }
    }
}

// The values have changed, by one bit: another factor could do better, and a solve alone makes none.
TEST(HybridPath, ASolveAloneTellsAFailureWithTheFactorOfAnotherMatrix)
{
    Unreachable<double> call(11, 1);
    ASSERT_EQ(call.run(12), 0);
    call.A.a.back() = std::nextafter(call.A.a.back(), 0.0);
    EXPECT_EQ(call.run(33), -4);
    EXPECT_LT(call.iparm(20), -10);
}

// The same numbers stand for another matrix where the lower triangle is not conjugated.
TEST(HybridPath, AHermitianFactorIsNotThatOfASymmetricMatrixOfTheSameValues)
{
    Unreachable<std::complex<double>> call(4, 1);
    ASSERT_EQ(call.run(12), 0);
    call.A.mtype = 6;
    EXPECT_EQ(call.run(33), -4);
    EXPECT_LT(call.iparm(20), -10);
    call.A.mtype = 4;
    call.set(30, 0);
    expectDirectSolution(call, 33);
}

TEST(HybridPath, IteratingFirstTellsAFailureWithANewFactor)
{
    Unreachable<double> call(11, -1);
    EXPECT_EQ(call.run(13), -4);
    EXPECT_LT(call.iparm(20), -10);
}

// What failed with an old factor is tried with one new one and not with a second, even where the matrix has
// no inverse and the direct solution is no number.
TEST(HybridPath, AFailureIsFollowedByOneNewFactor)
{
    for (const int budget : {100, 4}) { // the factor is made after the iteration, or before it
        Hybrid call(11, 61);
        std::fill(call.A.a.begin(), call.A.a.end(), std::nan(""));
        controlOf(call)[Word::IterationBudget] = budget;
        const FactorizationCount factorizations;
        EXPECT_EQ(call.run(23), 0);
        EXPECT_EQ(factorizations.count(), 1);
        EXPECT_EQ(call.iparm(20) % 10, -4) << "a breakdown";
        EXPECT_EQ(call.iparm(30), 0);
        EXPECT_EQ(call.run(23), 0);
        EXPECT_EQ(factorizations.count(), 2) << "a failed iteration asks for a factor";
    }
}

TEST(HybridPath, ASequenceOfSlowlyChangingMatricesIsSolvedWithFewFactors)
{
    for (const auto& [mtype, setting] : {std::pair(11, 61), std::pair(2, 62), std::pair(-2, 61)}) {
        Hybrid call(mtype, setting);
        const FactorizationCount factorizations;
        for (int step = 0; step < 40; ++step) {
            for (std::size_t k = 0; k < call.A.a.size(); ++k) call.A.a[k] *= 1 + 0.02 * ((k + step) % 3 == 0);
            ASSERT_EQ(call.run(23), 0) << step;
            EXPECT_GT(call.iparm(20), 0);
            EXPECT_LT(call.scaledResidual(), setting == 61 ? 1e-11 : 1e-6);
            call.makeFactorDear();
        }
        EXPECT_LT(factorizations.count(), 10);
    }
}

TEST(HybridPath, OfComplexMatricesIsTheSquaredForm)
{
    using Complex = std::complex<double>;
    SolveCall<Complex> call(systemOf<Complex>(gridShape(12, 12, 1), 4));
    call.set(4, 62);
    ASSERT_EQ(call.run(13), 0);
    EXPECT_EQ(call.iparm(20), 1); // conjugate gradients would tell 2
}

TEST(HybridPath, IsTimedInItsOwnLine)
{
    Hybrid call(11, 61);
    call.msglvl = 1;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(call.run(33), 0);
    const std::string text = ::testing::internal::GetCapturedStdout();
    call.msglvl = 0;
    EXPECT_NE(text.find("      Time solve  :"), std::string::npos);
    EXPECT_NE(text.find("      Time cgs    :"), std::string::npos);
    EXPECT_NE(text.find("s cgx iterations 1\n"), std::string::npos);
    EXPECT_NE(text.find(" < Hybrid Solver PARDISO with CGS/CG Iteration >"), std::string::npos);
    EXPECT_NE(text.find("solve to solve"), std::string::npos);
}

} // namespace
} // namespace Velmar::Lintrix::testing
