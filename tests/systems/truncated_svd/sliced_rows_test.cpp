// Products from slices of rows: lengths of the rows, the adjoint, several columns, threads, storage.

#include "tests/support/thread_setting.h"
#include "tests/systems/least_squares/rectangles.h"

#include <lintrix/systems/truncated_svd/sliced_rows.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using detail::SlicedRows;

constexpr double kMuch = 1e12;

template <class Cell>
class SlicedRowsOf : public ::testing::Test {
};
using Cells = ::testing::Types<Real, Complex16>;
TYPED_TEST_SUITE(SlicedRowsOf, Cells);

/// Rows of these lengths, their columns spread from one that differs from row to row.
template <class Cell>
Rectangle<Cell> staircase(const std::vector<std::int32_t>& lengths, std::int32_t columns)
{
    Rectangle<Cell> A(static_cast<std::int32_t>(lengths.size()), columns);
    Draw<Cell> draw(7);
    for (std::int32_t row = 0; row < A.rows(); ++row) {
        const std::int32_t length = lengths[static_cast<std::size_t>(row)];
        for (std::int32_t p = 0; p < length; ++p)
            A.at(row, (row + p * (columns / length)) % columns) = draw.cell();
    }
    return A;
}

template <class Cell>
std::vector<Cell> multiplied(const SlicedRows<Cell>& A, const std::vector<Cell>& x, std::int32_t rows,
                             std::int32_t columns = 1)
{
    const Cell untouched(-77.0);
    std::vector<Cell> y(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns) + 1, untouched);
    A.multiply(columns, x.data(), y.data());
    EXPECT_EQ(y.back(), untouched) << "written past the end";
    y.pop_back();
    return y;
}

template <class Cell>
void expectNear(const std::vector<Cell>& y, const std::vector<Cell>& expected)
{
    ASSERT_EQ(y.size(), expected.size());
    for (std::size_t i = 0; i < y.size(); ++i) EXPECT_LE(std::abs(y[i] - expected[i]), 1e-13) << i;
}

const std::vector<std::vector<std::int32_t>> kLengths{{1},
                                                      {0},
                                                      {3, 0, 5},
                                                      {1, 2, 3, 4},
                                                      {1, 2, 3, 4, 5, 6, 7, 8},
                                                      {8, 7, 6, 5, 4, 3, 2, 1, 0},
                                                      {40, 1, 1, 1, 1, 1, 1, 1, 1},
                                                      std::vector<std::int32_t>(16, 11),
                                                      std::vector<std::int32_t>(20, 0)};

// Fewer rows than a slice, whole slices, one row more; long, short and empty rows mixed.
TYPED_TEST(SlicedRowsOf, GiveTheProductWithTheMatrixAndWithItsAdjoint)
{
    using Rows = SlicedRows<TypeParam>;
    for (const auto& lengths : kLengths) {
        auto A = staircase<TypeParam>(lengths, 40);
        const auto H = A.adjoint();
        Draw<TypeParam> draw(4);
        const auto x = draw.cells(A.cols()), u = draw.cells(A.rows());
        const auto rows = Rows::within(kMuch, A.view(), Rows::Of::Given);
        const auto columns = Rows::within(kMuch, A.view(), Rows::Of::Adjoint);
        ASSERT_TRUE(rows && columns);
        expectNear(multiplied(*rows, x, A.rows()), product(A, x));
        expectNear(multiplied(*columns, u, A.cols()), product(H, u));
    }
}

TYPED_TEST(SlicedRowsOf, GiveEachColumnThatComesBehindAnother)
{
    using Rows = SlicedRows<TypeParam>;
    auto A = staircase<TypeParam>({4, 0, 9, 2, 2, 2, 7, 1, 1, 3}, 13);
    const auto rows = Rows::within(kMuch, A.view(), Rows::Of::Given);
    for (const std::int32_t columns : {0, 2, 3, 11}) {
        Draw<TypeParam> draw(5);
        std::vector<TypeParam> X, expected;
        for (std::int32_t c = 0; c < columns; ++c) {
            const auto x = draw.cells(13), y = product(A, x);
            X.insert(X.end(), x.begin(), x.end());
            expected.insert(expected.end(), y.begin(), y.end());
        }
        expectNear(multiplied(*rows, X, A.rows(), columns), expected);
    }
}

// Enough elements for two threads and more to be repaid.
TYPED_TEST(SlicedRowsOf, GiveTheSameBitsOnAnyNumberOfThreads)
{
    using Rows = SlicedRows<TypeParam>;
    std::vector<std::int32_t> lengths;
    for (std::int32_t row = 0; row < 1500; ++row) lengths.push_back(row % 7 == 3 ? 0 : 250 - row % 50);
    auto A = staircase<TypeParam>(lengths, 300);
    for (const auto side : {Rows::Of::Given, Rows::Of::Adjoint}) {
        const bool given = side == Rows::Of::Given;
        const auto sliced = Rows::within(kMuch, A.view(), side);
        Draw<TypeParam> draw(6);
        const auto x = draw.cells(given ? A.cols() : A.rows());
        const std::int32_t length = given ? A.rows() : A.cols();
        std::vector<TypeParam> first;
        for (const int count : {1, 2, 3, 4}) {
            const ThreadSetting threads(count);
            const auto y = multiplied(*sliced, x, length);
            if (first.empty()) first = y;
            EXPECT_EQ(y, first) << count;
        }
    }
}

// In rows of 1, 2, 5, 1, 1, 1, 1, 1, 2 elements: the longest first, each slice as long as its first row.
TYPED_TEST(SlicedRowsOf, ArePaddedToTheLongestOfASliceAndKeepToTheirBytes)
{
    using Rows = SlicedRows<TypeParam>;
    auto A = staircase<TypeParam>({1, 2, 5, 1, 1, 1, 1, 1, 2}, 6);
    const bool real = sizeof(TypeParam) == sizeof(double);
    const double places = real ? 8 * (5 + 1) : 4 * (5 + 1 + 1), starts = real ? 3 : 4;
    const auto sliced = Rows::within(kMuch, A.view(), Rows::Of::Given);
    const double bytes = (sizeof(TypeParam) + 4) * places + 4 * 9 + 8 * starts;
    EXPECT_EQ(sliced->bytes(), bytes);
    EXPECT_TRUE(Rows::within(bytes, A.view(), Rows::Of::Given).has_value());
    EXPECT_FALSE(Rows::within(bytes - 1.0, A.view(), Rows::Of::Given).has_value());
}

} // namespace
} // namespace Velmar::Lintrix::testing
