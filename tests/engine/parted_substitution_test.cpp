// Substitution by subgraphs against substitution in one go.

#include <lintrix/engine/handle.h>
#include <lintrix/engine/parted_substitution.h>

#include "tests/engine/solve_case.h"

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail::engine;

TEST(ConsecutiveSubgraphs, BeginRightBehindEachOtherAndAreNotEmpty)
{
    const auto consecutive = [](std::vector<PositionRange> ranges) { return areConsecutive(ranges); };
    EXPECT_TRUE(consecutive({{0, 9}}));
    EXPECT_TRUE(consecutive({{0, 3}, {4, 7}, {8, 9}}));
    EXPECT_FALSE(consecutive({{1, 3}}));
    EXPECT_FALSE(consecutive({{0, 3}, {5, 9}}));
    EXPECT_FALSE(consecutive({{0, 8}, {9, 9}, {9, 9}}));
    EXPECT_FALSE(consecutive({{0, 3}, {4, -1}, {4, 9}}));
    EXPECT_FALSE(consecutive({{4, 7}, {0, 3}}));
}

template <class T>
class SolveBySubgraphs : public ::testing::Test {
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(SolveBySubgraphs, Scalars);

// Parts of a dissection for four threads, on two and four of them, all types, transposed or not, in parts
// too.
TYPED_TEST(SolveBySubgraphs, SolvesWithTheSameBitsInEveryRun)
{
    using T = TypeParam;
    for (const int mtype : typesFor<T>()) {
        const ThreadSetting analysis(4, 0);
        SolveCall<T> call(systemOf<T>(gridShape(14, 13, 2), mtype));
        call.set(2, 3);
        ASSERT_EQ(call.run(12), 0);
        const ControlBlock& control = Handle(call.pt.data()).control();
        ASSERT_GT(control[Word::IndependentSubgraphs], 1);
        for (const int transpose : {0, 1}) {
            call.set(12, transpose);
            ASSERT_EQ(call.run(33), 0);
            EXPECT_EQ(control[Word::ConsecutiveSubgraphs], 1);
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
            const std::vector<T> first = call.x;
            for (int run = 0; run < 20; ++run) {
                const ThreadSetting threads(2 + 2 * (run % 2), 0);
                ASSERT_EQ(call.run(33), 0);
                ASSERT_EQ(call.x, first) << mtype;
            }
            const std::vector<T> b = call.b;
            for (const int part : {331, 332, 333}) {
                ASSERT_EQ(call.run(part), 0);
                call.b = call.x;
            }
            EXPECT_EQ(call.x, first);
            call.b = b;
        }
    }
}

TYPED_TEST(SolveBySubgraphs, IsSerialWhereTheOrderIsOnePiece)
{
    using T = TypeParam;
    const ThreadSetting setting(2, 0);
    SolveCall<T> call(systemOf<T>(gridShape(14, 13, 2), typesFor<T>().back()));
    call.set(2, 0);
    ASSERT_EQ(call.run(13), 0);
    EXPECT_EQ(Handle(call.pt.data()).control()[Word::IndependentSubgraphs], 1);
    EXPECT_LT(call.scaledResidual(), kResidualLimit<T>);
}

} // namespace
} // namespace Velmar::Lintrix::testing
