// Powers of two that bring the norms of columns together, where these lie far apart.

#include <lintrix/systems/quality/column_scales.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::ColumnScales;

TEST(ColumnScales, OfEvenColumnsAreAllThatOfTheLongest)
{
    const ColumnScales scales({1.0, 700.0, 3.0});
    EXPECT_FALSE(scales.differ);
    EXPECT_EQ(scales.common, 0x1p-10);
    EXPECT_EQ(scales.scale, std::vector<double>(3, 0x1p-10));
}

TEST(ColumnScales, OfUnevenColumnsBringEachNormBelowOne)
{
    const std::vector<double> norms{1e-300, 0.5, 1.0, 3e7, 1e300};
    const ColumnScales scales(norms);
    EXPECT_TRUE(scales.differ);
    ASSERT_EQ(scales.scale.size(), norms.size());
    for (std::size_t j = 0; j < norms.size(); ++j) {
        int exponent = 0;
        EXPECT_EQ(std::frexp(scales.scale[j], &exponent), 0.5) << "a power of two";
        EXPECT_GT(norms[j] * scales.scale[j], 0.5) << j;
        EXPECT_LE(norms[j] * scales.scale[j], 1.0) << j;
    }
}

TEST(ColumnScales, ColumnsWithoutANormAreLeftAlone)
{
    const double kInfinity = std::numeric_limits<double>::infinity(),
                 kNaN = std::numeric_limits<double>::quiet_NaN();
    const ColumnScales scales({1.0, 0.0, 1e9, kNaN});
    EXPECT_TRUE(scales.differ);
    EXPECT_EQ(scales.scale[1], 1.0);
    EXPECT_EQ(scales.scale[3], 1.0);
    EXPECT_EQ(ColumnScales({1.0, kInfinity}).scale[1], 1.0);
    EXPECT_TRUE(ColumnScales(std::vector<double>{}).scale.empty());
    EXPECT_EQ(ColumnScales(std::vector<double>{}).common, 1.0);
}

/// The power of two of the least numbers would not be finite.
TEST(ColumnScales, AreFiniteForDenormalNorms)
{
    const ColumnScales scales({0x1p-1074, 1.0});
    EXPECT_TRUE(std::isfinite(scales.scale[0]));
    EXPECT_GT(scales.scale[0], 1e300);
}

} // namespace
} // namespace Velmar::Lintrix::testing
