// Out-of-place transposition.

#include <lintrix/foundation/detail/transpose_squares.h>
#include <lintrix/lintrix.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

// Around the tile of 16.
const std::vector<std::uint64_t> kSizes{1, 2, 7, 15, 16, 17, 31, 32, 33, 257, 530};

constexpr double kGuard = -1e99;

double valueAt(std::uint64_t i, std::uint64_t j)
{
    return static_cast<double>(i) * 1000.0 + static_cast<double>(j) + 0.5;
}

// Runs B := alpha*A' with padding in both arrays, and looks at every cell of B.
void expectTransposed(std::uint64_t rows, std::uint64_t cols, double alpha, std::uint64_t padA,
                      std::uint64_t padB)
{
    SCOPED_TRACE(::testing::Message() << rows << " x " << cols << ", padding " << padA << ", " << padB);
    const std::uint64_t lda = rows + padA, ldb = cols + padB;
    std::vector<double> a(lda * cols, kGuard), b(ldb * rows, kGuard);
    for (std::uint64_t j = 0; j < cols; ++j) {
        for (std::uint64_t i = 0; i < rows; ++i) a[i + lda * j] = valueAt(i, j);
    }
    const std::vector<double> before = a;
    MKL_Domatcopy('C', 'T', rows, cols, alpha, a.data(), lda, b.data(), ldb);
    EXPECT_EQ(a, before);
    std::uint64_t wrong = 0;
    for (std::uint64_t i = 0; i < rows; ++i) {
        for (std::uint64_t j = 0; j < ldb; ++j) {
            wrong += b[j + ldb * i] != (j < cols ? alpha * valueAt(i, j) : kGuard);
        }
    }
    EXPECT_EQ(wrong, 0u);
}

TEST(TransposeSquares, EachFormGivesTheBitsOfAPlainLoop)
{
    std::mt19937_64 random(3);
    const auto& forms = detail::transposeSquares();
    for (const auto form : {forms.sse2, forms.chosen()}) {
        for (std::uint64_t rows = 0; rows < 35; ++rows) {
            for (std::uint64_t cols = 0; cols < 35; ++cols) {
                const std::uint64_t lda = rows + rows % 3, ldb = cols + cols % 2;
                std::vector<std::uint64_t> bits(lda * cols), back(ldb * rows, 7), expected = back;
                std::ranges::generate(bits, std::ref(random)); // numbers of all kinds
                for (std::uint64_t i = 0; i < rows; ++i)
                    for (std::uint64_t j = 0; j < cols; ++j) expected[j + ldb * i] = bits[i + lda * j];
                form(rows, cols, reinterpret_cast<const double*>(bits.data()), lda,
                     reinterpret_cast<double*>(back.data()), ldb);
                ASSERT_EQ(back, expected) << rows << " x " << cols;
            }
        }
    }
}

TEST(Domatcopy, TransposesEveryShape)
{
    for (const std::uint64_t rows : kSizes) {
        for (const std::uint64_t cols : kSizes) expectTransposed(rows, cols, 1.0, 0, 0);
    }
}

TEST(Domatcopy, PaddingIsSkippedOnTheWayInAndLeftAloneOnTheWayOut)
{
    for (const std::uint64_t rows : {1, 16, 257}) {
        for (const std::uint64_t cols : {1, 17, 65}) {
            expectTransposed(rows, cols, 1.0, 3, 0);
            expectTransposed(rows, cols, 1.0, 0, 5);
            expectTransposed(rows, cols, 1.0, 11, 2);
        }
    }
}

TEST(Domatcopy, AlphaScales)
{
    for (const double alpha : {-2.5, 0.0, 0x1p-1060}) expectTransposed(33, 21, alpha, 1, 1);
}

TEST(Domatcopy, SpecialValuesGoThrough)
{
    const double a[2] = {std::numeric_limits<double>::quiet_NaN(), -std::numeric_limits<double>::infinity()};
    double b[2] = {};
    MKL_Domatcopy('C', 'T', 2, 1, 1.0, a, 2, b, 1);
    EXPECT_TRUE(std::isnan(b[0]));
    EXPECT_EQ(b[1], a[1]);
}

TEST(Domatcopy, OtherLettersLeaveTheTargetAlone)
{
    const std::vector<double> a(6, 1.0);
    for (const auto& [ordering, trans] :
         {std::pair{'R', 'T'}, std::pair{'C', 'N'}, std::pair{'C', 'C'}, std::pair{'r', 'n'}}) {
        std::vector<double> b(6, kGuard);
        MKL_Domatcopy(ordering, trans, 2, 3, 1.0, a.data(), 2, b.data(), 3);
        EXPECT_EQ(b, std::vector<double>(6, kGuard)) << ordering << trans;
    }
}

TEST(Domatcopy, NothingToTransposeWritesNothing)
{
    const double a = 1.0;
    double b = kGuard;
    MKL_Domatcopy('C', 'T', 0, 5, 1.0, &a, 1, &b, 5);
    MKL_Domatcopy('C', 'T', 5, 0, 1.0, &a, 5, &b, 1);
    EXPECT_EQ(b, kGuard);
}

TEST(Transo, ElementGoesToItsMirrorPlaceInUnpaddedArrays)
{
    for (const std::uint64_t rows : kSizes) {
        for (const std::uint64_t cols : kSizes) {
            std::vector<double> a(rows * cols), b(rows * cols), back(rows * cols);
            for (std::uint64_t k = 0; k < a.size(); ++k) a[k] = static_cast<double>(k);
            const auto m = static_cast<std::int32_t>(rows), n = static_cast<std::int32_t>(cols);
            detail::vmr_transo(a.data(), b.data(), m, n);
            std::uint64_t wrong = 0;
            for (std::uint64_t j = 0; j < cols; ++j) {
                for (std::uint64_t i = 0; i < rows; ++i) wrong += b[j + cols * i] != a[i + rows * j];
            }
            EXPECT_EQ(wrong, 0u) << rows << " x " << cols;
            detail::vmr_transo(b.data(), back.data(), n, m);
            EXPECT_EQ(back, a) << rows << " x " << cols;
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
