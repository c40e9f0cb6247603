// Solves through the entry.

#include "tests/engine/engine_call.h"

#include <cmath>

namespace Velmar::Lintrix::testing {
namespace {

TEST(Solve, Smoke)
{
    for (const int mtype : {1, 2, -2, 11}) {
        for (const int t : {1, 2}) {
        const ThreadSetting setting(t, 0);
        EngineCall call(tridiagonal(60, mtype % 2 == 0), mtype);
        call.set(10, 13);
        EXPECT_EQ(call.run(13), 0);
        for (int i = 0; i < 60; ++i) EXPECT_NEAR(call.x[i], 0.5 * (i + 1) * (60 - i), 1e-9) << mtype << ' ' << i;
        for (int step : {331, 332, 333}) { EXPECT_EQ(call.run(step), 0); call.b = call.x; }
        for (int i = 0; i < 60; ++i) EXPECT_NEAR(call.x[i], 0.5 * (i + 1) * (60 - i), 1e-9) << mtype << ' ' << i;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
