// Solves through the entry: every type, element, thread count, number of right-hand sides and shape.

#include "tests/engine/solution/solve_case.h"

namespace Velmar::Lintrix::testing {
namespace {

template <class T>
class Solve : public ::testing::Test {
};
using Scalars = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(Solve, Scalars);

TYPED_TEST(Solve, EveryTypeIsSolvedOnAnyThreads)
{
    using T = TypeParam;
    for (const Shape& shape : allShapes()) {
        for (const int mtype : typesFor<T>()) {
            for (const int threads : {1, 2, 4}) {
                const ThreadSetting setting(threads, 0);
                for (const int sides : {1, 3, 9}) {
                    SolveCall<T> call(systemOf<T>(shape, mtype), sides);
                    call.set(8, 2);
                    ASSERT_EQ(call.run(13), 0) << shape.name << ' ' << mtype << ' ' << threads;
                    EXPECT_LT(call.scaledResidual(), kResidualLimit<T>)
                        << shape.name << ' ' << shape.n << ' ' << mtype << ' ' << threads << ' ' << sides;
                    if (isSymmetricStorage(mtype)) continue;
                    call.set(12, 1);
                    ASSERT_EQ(call.run(33), 0);
                    EXPECT_LT(call.scaledResidual(), kResidualLimit<T>)
                        << shape.name << ' ' << shape.n << ' ' << mtype << ' ' << threads << ' ' << sides;
                }
            }
        }
    }
}

// Zeros on the diagonal: symmetric matrices take pairs of the matching as pivots.
TYPED_TEST(Solve, SaddlePointsAreSolvedWithMatchingAndScaling)
{
    using T = TypeParam;
    for (const int mtype : typesFor<T>()) {
        if (mtype == 1 || mtype == 2 || mtype == 3 || mtype == 4) continue;
        for (const int threads : {1, 2}) {
            const ThreadSetting setting(threads, 0);
            SolveCall<T> call(systemOf<T>(saddleShape(), mtype), 3);
            call.set(8, 2);
            call.set(11, 1);
            call.set(13, 1);
            ASSERT_EQ(call.run(13), 0) << mtype;
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>) << mtype << ' ' << threads;
        }
    }
}

// Rows whose entries differ by ten orders of magnitude, and columns likewise.
TYPED_TEST(Solve, ScalingServesMatricesThatNeedIt)
{
    using T = TypeParam;
    Shape shape = gridShape(10, 10, 1);
    shape.spread = 3.0;
    for (const int mtype : typesFor<T>()) {
        if (mtype == 1 || mtype == 2 || mtype == 3 || mtype == 4) continue;
        for (const int matching : {1, 2}) {
            SolveCall<T> call(systemOf<T>(shape, mtype));
            call.set(8, 2);
            call.set(11, 1);
            call.set(13, matching);
            ASSERT_EQ(call.run(13), 0) << mtype;
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>) << mtype;
            call.set(12, 1);
            ASSERT_EQ(call.run(33), 0);
            EXPECT_LT(call.scaledResidual(), kResidualLimit<T>) << mtype;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
