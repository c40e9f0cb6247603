#include <lintrix/systems/structure/index_text.h>

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::indexText;
using List = std::vector<std::int32_t>;

TEST(IndexText, IsEnglish)
{
    EXPECT_EQ(indexText("row", List{}), "no rows");
    EXPECT_EQ(indexText("row", List{4}), "row 4");
    EXPECT_EQ(indexText("column", List{4, 7}), "columns 4 and 7");
    EXPECT_EQ(indexText("column", List{17, 3, 20}), "columns 17, 3 and 20");
}

TEST(IndexText, NamesTheFirstOfMany)
{
    List indices(100);
    std::iota(indices.begin(), indices.end(), 0);
    EXPECT_EQ(indexText("row", indices), "rows 0, 1, 2, 3, 4 and 95 more");
    indices.resize(7);
    EXPECT_EQ(indexText("row", indices), "rows 0, 1, 2, 3, 4 and 2 more");
    indices.resize(6);
    EXPECT_EQ(indexText("row", indices), "rows 0, 1, 2, 3, 4 and 5");
}

TEST(IndexText, MayBeginASentence)
{
    EXPECT_EQ(detail::capitalized("row 4"), "Row 4");
    EXPECT_EQ(detail::capitalized("4 rows"), "4 rows");
    EXPECT_EQ(detail::capitalized(""), "");
}

} // namespace
} // namespace Velmar::Lintrix::testing
