// Products from slices of rows: order of the sums, lengths of the rows, threads, storage.

#include "tests/solvers/svd_support.h"
#include "tests/support/thread_setting.h"

#include <lintrix/solvers/sliced_rows.h>

namespace Velmar::Lintrix::testing {
namespace {

using detail::LanczosMatrix;
using detail::SlicedRows;
using Of = SlicedRows::Of;

constexpr std::int64_t kMuch = std::int64_t{1} << 40;

/// Compressed rows of the given lengths, in columns that ascend, some of them empty.
struct Staircase {
    Staircase(const std::vector<int>& lengths, int columns) : m(static_cast<int>(lengths.size())), n(columns)
    {
        for (int row = 0; row < m; ++row) {
            const int length = lengths[static_cast<std::size_t>(row)];
            for (int p = 0; p < length; ++p) {
                ja.push_back(1 + p * n / length);
                cells.push_back(1.0 / (1 + row + 3 * p));
            }
            ia.push_back(static_cast<std::int32_t>(cells.size()) + 1);
        }
    }
    LanczosMatrix view() const { return {m, n, cells.data(), ia.data(), ja.data(), false}; }

    /// A row, or with `Of::Transpose` a column, times x, element by element in their order.
    std::vector<double> product(Of side, const std::vector<double>& x) const
    {
        std::vector<double> y(static_cast<std::size_t>(side == Of::A ? m : n));
        for (int r = 0; r < m; ++r) {
            for (int p = ia[static_cast<std::size_t>(r)] - 1; p < ia[static_cast<std::size_t>(r) + 1] - 1;
                 ++p) {
                const int c = ja[static_cast<std::size_t>(p)] - 1, to = side == Of::A ? r : c;
                y[static_cast<std::size_t>(to)] +=
                    cells[static_cast<std::size_t>(p)] * x[static_cast<std::size_t>(side == Of::A ? c : r)];
            }
        }
        return y;
    }

    int m, n;
    std::vector<double> cells;
    std::vector<std::int32_t> ia{1}, ja;
};

std::vector<double> multiplied(const SlicedRows& A, const std::vector<double>& x, int rows)
{
    std::vector<double> y(static_cast<std::size_t>(rows) + 1, -77.0);
    A.multiply(x.data(), y.data());
    EXPECT_EQ(y.back(), -77.0); // nothing is written past the end
    y.pop_back();
    return y;
}

// Fewer rows than a slice, whole slices, one row more; long, short and empty rows mixed.
TEST(SlicedRows, EachRowIsSummedElementByElementInTheirOrder)
{
    const std::vector<std::vector<int>> kLengths{{1},
                                                 {0},
                                                 {3, 0, 5},
                                                 {1, 2, 3, 4, 5, 6, 7, 8},
                                                 {8, 7, 6, 5, 4, 3, 2, 1, 0},
                                                 {40, 1, 1, 1, 1, 1, 1, 1, 1},
                                                 std::vector<int>(16, 11),
                                                 std::vector<int>(20, 0)};
    for (const std::vector<int>& lengths : kLengths) {
        const Staircase A(lengths, 40);
        for (const Of side : {Of::A, Of::Transpose}) {
            const auto x = randomVector(side == Of::A ? A.n : A.m, 4);
            const auto sliced = SlicedRows::make(side, A.view(), kMuch);
            ASSERT_TRUE(sliced.has_value());
            EXPECT_EQ(multiplied(*sliced, x, side == Of::A ? A.m : A.n), A.product(side, x))
                << lengths.size();
        }
    }
}

TEST(SlicedRows, AnyNumberOfThreadsGivesTheSameBits)
{
    std::vector<int> lengths;
    for (int row = 0; row < 400; ++row)
        lengths.push_back(row % 7 == 3 ? 0 : 250 - row % 50); // 75 000 elements
    const Staircase A(lengths, 300);
    for (const Of side : {Of::A, Of::Transpose}) {
        const auto sliced = SlicedRows::make(side, A.view(), kMuch);
        const auto x = randomVector(side == Of::A ? A.n : A.m, 5);
        const auto expected = A.product(side, x);
        for (const int count : {1, 2, 3, 4}) {
            const ThreadSetting threads(count);
            EXPECT_EQ(multiplied(*sliced, x, side == Of::A ? A.m : A.n), expected) << count;
        }
    }
}

// Two slices of 8 and 1 rows: 5 and 1 groups of 8 elements, 17 places, 3 starts.
TEST(SlicedRows, ShortRowsArePaddedToTheLongestOfTheirSlice)
{
    const Staircase A({1, 2, 5, 1, 1, 1, 1, 1, 2}, 6);
    const auto sliced = SlicedRows::make(Of::A, A.view(), kMuch);
    EXPECT_EQ(sliced->bytes(), 12 * 8 * (5 + 1) + 4 * (9 + 8 + 3));
    EXPECT_TRUE(SlicedRows::make(Of::A, A.view(), sliced->bytes()).has_value());
    EXPECT_FALSE(SlicedRows::make(Of::A, A.view(), sliced->bytes() - 1).has_value());
}

TEST(SlicedRows, VectorOfNaNsGivesNaNsInEveryRowWithElements)
{
    const Staircase A({1, 2, 5, 1}, 6);
    const std::vector<double> x(6, std::numeric_limits<double>::quiet_NaN());
    for (const double cell : multiplied(*SlicedRows::make(Of::A, A.view(), kMuch), x, A.m))
        EXPECT_TRUE(std::isnan(cell));
}

} // namespace
} // namespace Velmar::Lintrix::testing
