#include <lintrix/systems/structure/sparse_pattern.h>

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using namespace detail;
using List = std::vector<std::int32_t>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// [ 1 -0  .  2 ]
// [ .  0  .  . ]
// [ . NaN 3  . ]
const EntryArrays<double> kMatrix{{3, 4, {0, 3, 4, 6}, {0, 1, 3, 1, 1, 2}}, {1.0, -0.0, 2.0, 0.0, kNaN, 3.0}};

TEST(SparsePattern, LosesZerosOfEitherSignAndKeepsANaN)
{
    const EntryArrays<double> nonZeros = nonZerosOf(SparseEntries<double>(kMatrix));
    EXPECT_EQ(nonZeros.pattern.rows, 3);
    EXPECT_EQ(nonZeros.pattern.cols, 4);
    EXPECT_EQ(nonZeros.pattern.starts, (List{0, 2, 2, 4}));
    EXPECT_EQ(nonZeros.pattern.columns, (List{0, 3, 1, 2}));
    EXPECT_EQ(nonZeros.values[1], 2.0);
    EXPECT_TRUE(std::isnan(nonZeros.values[2]));
}

TEST(SparsePattern, OfComplexValuesNeedsBothPartsToVanish)
{
    using C = std::complex<double>;
    const EntryArrays<C> matrix{{1, 4, {0, 4}, {0, 1, 2, 3}}, {{0, -0.0}, {0, 1}, {2, 0}, {0, kNaN}}};
    EXPECT_EQ(nonZerosOf(SparseEntries<C>(matrix)).pattern.columns, (List{1, 2, 3}));
}

TEST(SparsePattern, IsTransposedWithItsValues)
{
    const EntryArrays<double> turned = transposed(SparseEntries<double>(kMatrix));
    EXPECT_EQ(turned.pattern.rows, 4);
    EXPECT_EQ(turned.pattern.cols, 3);
    EXPECT_EQ(turned.pattern.starts, (List{0, 1, 4, 5, 6}));
    EXPECT_EQ(turned.pattern.columns, (List{0, 0, 1, 2, 2, 0}));
    EXPECT_EQ(turned.values[0], 1.0);
    EXPECT_TRUE(std::isnan(turned.values[3]));
    EXPECT_EQ(turned.values[5], 2.0);
    EXPECT_EQ(transposed(SparsePattern(kMatrix.pattern)).columns, turned.pattern.columns);
}

TEST(SparsePattern, MayHaveNoRowsOrNoColumns)
{
    EXPECT_EQ(transposed(SparsePattern(PatternArrays{0, 3})).starts, (List{0, 0, 0, 0}));
    EXPECT_EQ(transposed(SparsePattern(PatternArrays{2, 0, {0, 0, 0}})).starts, (List{0}));
    EXPECT_EQ(transposed(SparsePattern(PatternArrays{})).starts, (List{0}));
}

} // namespace
} // namespace Velmar::Lintrix::testing
