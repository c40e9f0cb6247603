// Results of SparseMatrix that are too large for 32-bit row pointers. Counting them takes seconds.

#include "tests/sparse/random_pattern.h"

#include <numeric>
#include <vector>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;

// 46341^2 is the first square above 2^31 - 1.
constexpr int kSize = 46341;

SparseMatrix fullRow()
{
    std::vector<int> columns(kSize);
    std::iota(columns.begin(), columns.end(), 0);
    return SparseMatrix(std::vector<double>(kSize, 1.0), std::vector<int>{0, kSize}, columns);
}

TEST(SparseMatrixLimits, AProductWithMoreElementsThanThePointersCountIsRefused)
{
    const SparseMatrix row = fullRow(), column = row.Transpose();
    const std::int64_t before = TrellConfiguration::TotalMemory();
    expectFailure<OperationFailedException>([&] { return column * row; },
                                            "Operation has failed to complete.");
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ((row * column).Item(0, 0), kSize);
}

} // namespace
} // namespace Velmar::Lintrix
