// The products of the Lanczos driver, straight on the rows: order of the sums, lengths of the rows, threads.

#include "tests/solvers/svd_support.h"
#include "tests/support/thread_setting.h"

#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

using detail::LanczosMatrix;

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

    /// Calls visit(row, column, value), row by row, columns ascending.
    template <class Visit>
    void forEachElement(Visit visit) const
    {
        for (std::size_t r = 0; r + 1 < ia.size(); ++r) {
            for (auto p = static_cast<std::size_t>(ia[r] - 1); p < static_cast<std::size_t>(ia[r + 1] - 1);
                 ++p)
                visit(r, static_cast<std::size_t>(ja[p] - 1), cells[p]);
        }
    }

    int m, n;
    std::vector<double> cells;
    std::vector<std::int32_t> ia{1}, ja;
};

/// Nothing of y is read before it is written, and nothing is written past its end.
template <class Product>
std::vector<double> guarded(int length, Product product)
{
    std::vector<double> y(static_cast<std::size_t>(length), std::numeric_limits<double>::quiet_NaN());
    y.push_back(-77.0);
    product(y.data());
    EXPECT_EQ(y.back(), -77.0);
    y.pop_back();
    return y;
}

std::vector<double> multiplied(const LanczosMatrix& A, const std::vector<double>& x)
{
    return guarded(A.m, [&](double* y) { A.multiply(x.data(), y); });
}

std::vector<double> multipliedTransposed(const LanczosMatrix& A, const std::vector<double>& x)
{
    return guarded(A.n, [&](double* y) { A.multiplyTransposed(x.data(), y); });
}

const std::vector<std::vector<int>> kLengths{{1},
                                             {0},
                                             {3, 0, 5},
                                             {1, 2, 3, 4, 5, 6, 7, 8},
                                             {8, 7, 6, 5, 4, 3, 2, 1, 0},
                                             {40, 1, 1, 1, 1, 1, 1, 1, 1},
                                             std::vector<int>(16, 11),
                                             std::vector<int>(20, 0)};

TEST(LanczosMatrix, TransposedProductAddsTheRowsUpInTheirOrder)
{
    for (const std::vector<int>& lengths : kLengths) {
        const Staircase A(lengths, 40);
        const auto x = randomVector(A.m, 4);
        std::vector<double> expected(40);
        A.forEachElement([&](std::size_t r, std::size_t c, double value) { expected[c] += value * x[r]; });
        EXPECT_EQ(multipliedTransposed(A.view(), x), expected) << lengths.size();
    }
}

TEST(LanczosMatrix, ProductIsTheSumOfEachRowToRounding)
{
    for (const std::vector<int>& lengths : kLengths) {
        const Staircase A(lengths, 40);
        const auto x = randomVector(A.n, 4);
        std::vector<double> expected(lengths.size()), size(lengths.size());
        A.forEachElement([&](std::size_t r, std::size_t c, double value) {
            expected[r] += value * x[c];
            size[r] += std::abs(value * x[c]);
        });
        const std::vector<double> y = multiplied(A.view(), x);
        for (std::size_t r = 0; r < y.size(); ++r)
            EXPECT_LE(std::abs(y[r] - expected[r]), 80 * kEps * size[r]);
    }
}

TEST(LanczosMatrix, AnyNumberOfThreadsGivesTheSameBits)
{
    std::vector<int> lengths;
    for (int row = 0; row < 400; ++row)
        lengths.push_back(row % 7 == 3 ? 0 : 250 - row % 50); // 75 000 elements
    const Staircase A(lengths, 300);
    const auto x = randomVector(A.n, 5), w = randomVector(A.m, 6);
    const auto products = [&] {
        return std::pair(multiplied(A.view(), x), multipliedTransposed(A.view(), w));
    };
    const auto expected = [&] {
        const ThreadSetting threads(1);
        return products();
    }();
    for (const int count : {2, 3, 4}) {
        const ThreadSetting threads(count);
        EXPECT_EQ(products(), expected) << count;
    }
}

TEST(LanczosMatrix, VectorOfNaNsGivesNaNsInEveryRowWithElements)
{
    const Staircase A({1, 2, 5, 1}, 6);
    const std::vector<double> x(6, std::numeric_limits<double>::quiet_NaN());
    for (const double cell : multiplied(A.view(), x)) EXPECT_TRUE(std::isnan(cell));
}

TEST(LanczosMatrix, SymmetricMatrixIsAppliedAsTheFullOneBothWays)
{
    SparseMatrix A(3, true);
    A(0, 0) = 2.0;
    A(0, 2) = 3.0;
    A(1, 1) = 5.0;
    const std::vector<double> x{1.0, 10.0, 100.0};
    const std::vector<double> expected{302.0, 50.0, 3.0};
    EXPECT_EQ(multiplied(viewOf(A), x), expected);
    EXPECT_EQ(multipliedTransposed(viewOf(A), x), expected);
}

TEST(LanczosMatrix, TransposedProductIsAddedWithItsFactor)
{
    const SparseMatrix A(Matrix{{1, 2}, {3, 4}, {5, 6}});
    const std::vector<double> x{1.0, 0.0, -1.0};
    std::vector<double> y{10.0, 20.0};
    viewOf(A).addTransposed(-0.5, x.data(), y.data());
    EXPECT_EQ(y, (std::vector<double>{12.0, 22.0}));
}

} // namespace
} // namespace Velmar::Lintrix::testing
