// Solves that threads share by parts of the factor, against the promise of the same bits in every run.

#include <lintrix/engine/call/handle.h>

#include "tests/engine/engine_call.h"
#include "tests/engine/solution/solve_case.h"
#include "tests/support/failing_allocator.h"

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

template <class T>
const ControlBlock& controlOf(SolveCall<T>& call)
{
    return Handle(call.pt.data()).control();
}

template <class T>
class SolveByParts : public ::testing::Test {
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(SolveByParts, Scalars);

// One order in one piece, one dissected for four threads; on two and four of them, all types, transposed or
// not, in the parts of a solve too.
TYPED_TEST(SolveByParts, HasTheSameBitsInEveryRunOfAsManyThreads)
{
    using T = TypeParam;
    for (const int mtype : typesFor<T>()) {
        for (const int ordering : {0, 3}) {
            const ThreadSetting analysis(4, 0);
            SolveCall<T> call(systemOf<T>(gridShape(60, 50, 1), mtype), 3);
            call.set(2, ordering);
            ASSERT_EQ(call.run(12), 0);
            EXPECT_EQ(controlOf(call)[Word::IndependentSubgraphs] > 1, ordering == 3);
            for (const int threads : {2, 4}) {
                const ThreadSetting setting(threads, 0);
                for (const int transpose : {0, 1}) {
                    if (transpose == 1 && isSymmetricStorage(mtype)) continue;
                    call.set(12, transpose);
                    ASSERT_EQ(call.run(33), 0);
                    EXPECT_EQ(controlOf(call)[Word::ConsecutiveSubgraphs], 1);
                    EXPECT_EQ(controlOf(call)[Word::SolveParts], threads);
                    EXPECT_GT(controlOf(call)[Word::SolveRanges], 0);
                    EXPECT_LT(call.scaledResidual(), kResidualLimit<T>) << mtype;
                    const std::vector<T> first = call.x, b = call.b;
                    for (int run = 0; run < 3; ++run) {
                        ASSERT_EQ(call.run(33), 0);
                        ASSERT_EQ(call.x, first) << mtype;
                    }
                    for (const int part : {331, 332, 333}) {
                        ASSERT_EQ(call.run(part), 0);
                        call.b = call.x;
                    }
                    EXPECT_EQ(call.x, first);
                    call.b = b;
                }
            }
        }
    }
}

// Few share each pass, many are dealt out: up to 16 (real) or 8 (complex) on two threads are few.
TYPED_TEST(SolveByParts, TakesAnyNumberOfRightHandSides)
{
    using T = TypeParam;
    const ThreadSetting setting(2, 0);
    SolveCall<T> call(systemOf<T>(gridShape(60, 50, 1), typesFor<T>().back()), 40);
    ASSERT_EQ(call.run(12), 0);
    for (const int sides : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 40}) {
        call.nrhs = sides;
        std::fill(call.x.begin(), call.x.end(), T(0));
        ASSERT_EQ(call.run(33), 0);
        EXPECT_LT(call.scaledResidual(), kResidualLimit<T>) << sides;
    }
}

TEST(SolveByPartsOfTheFactor, AnswersAsOneThreadDoes)
{
    SolveCall<double> call(systemOf<double>(gridShape(60, 50, 1), 11), 5);
    const ThreadSetting one(1, 0);
    ASSERT_EQ(call.run(13), 0);
    EXPECT_EQ(controlOf(call)[Word::SolveParts], 0);
    const std::vector<double> alone = call.x;
    for (const int threads : {2, 3, 40}) {
        const ThreadSetting several(threads, 0);
        ASSERT_EQ(call.run(33), 0);
        EXPECT_EQ(controlOf(call)[Word::SolveParts], std::min(threads, 16));
        for (std::size_t i = 0; i < alone.size(); ++i) EXPECT_NEAR(call.x[i], alone[i], 1e-13);
    }
}

TEST(SolveByPartsOfTheFactor, IsNotDoneWhereItDoesNotPay)
{
    const ThreadSetting setting(2, 0);
    SolveCall<double> small(systemOf<double>(gridShape(9, 9, 1), 2));
    ASSERT_EQ(small.run(13), 0);
    EXPECT_EQ(controlOf(small)[Word::SolveParts], 2);
    EXPECT_EQ(controlOf(small)[Word::SolveRanges], 0);
    EXPECT_LT(small.scaledResidual(), 1e-12);
}

TEST(SolveByPartsOfTheFactor, IsForgottenWithTheAnalysis)
{
    const ThreadSetting setting(2, 0);
    SolveCall<double> call(systemOf<double>(gridShape(60, 50, 1), 2));
    ASSERT_EQ(call.run(13), 0);
    ASSERT_NE(call.pt[15], nullptr);
    void* const kept = call.pt[15];
    ASSERT_EQ(call.run(23), 0);
    EXPECT_EQ(call.pt[15], kept) << "the structure is the same";
    ASSERT_EQ(call.run(11), 0);
    EXPECT_EQ(call.pt[15], nullptr);
    EXPECT_EQ(controlOf(call)[Word::SolveParts], 0);
}

TEST(SolveByPartsOfTheFactor, WithoutMemoryTouchesNothingAndTheNextCallSolves)
{
    const ThreadSetting setting(2, 0);
    int failures = 0;
    for (int k = 0, error = -2; error == -2; ++k) {
        SolveCall<double> call(systemOf<double>(gridShape(60, 50, 1), 11), 2);
        ASSERT_EQ(call.run(12), 0);
        call.set(8, 1);
        call.msglvl = -1;
        const std::vector<double> b = call.b, x = call.x;
        ::testing::internal::CaptureStdout();
        {
            const FailingAllocator failing(k);
            error = call.run(33);
        }
        const std::string text = ::testing::internal::GetCapturedStdout();
        call.msglvl = 0;
        if (error != 0) {
            EXPECT_EQ(error, -2);
            EXPECT_TRUE(text.find("WORK_R0 , size") != std::string::npos ||
                        text.find("CGS_ARR , size") != std::string::npos)
                << text;
            EXPECT_EQ(call.b, b);
            EXPECT_EQ(call.x, x);
            ++failures;
        }
        ASSERT_EQ(call.run(33), 0);
        EXPECT_LT(call.scaledResidual(), 1e-12);
    }
    EXPECT_EQ(failures, 9) << "lists, five arrays that make them, their shrinking, both blocks of work";
}

} // namespace
} // namespace Velmar::Lintrix::testing
