// Out-of-place transposition.

#include <lintrix/foundation/detail/transpose_squares.h>
#include <lintrix/lintrix.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
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

/// Numbers of all kinds, NaN with payloads and -0 among them; the guard behind them stays.
template <class Cell>
using Bits = std::vector<std::array<std::uint64_t, sizeof(Cell) / sizeof(std::uint64_t)>>;

/// What stands in the memory of `form`'s result, whose columns begin `offset` cells behind a line, against a
/// plain loop over bits; `flipped` are the sign bits that change.
template <class Cell>
void expectBitsOfAPlainLoop(detail::TransposeSquares<Cell> form, std::uint64_t rows, std::uint64_t cols,
                            std::uint64_t padA, std::uint64_t padB, std::uint64_t offset,
                            std::uint64_t flipped = 0)
{
    SCOPED_TRACE(::testing::Message()
                 << rows << " x " << cols << ", padding " << padA << ", " << padB << ", offset " << offset);
    const std::uint64_t lda = rows + padA, ldb = cols + padB;
    Bits<Cell> a(offset + lda * cols), b(offset + ldb * rows + 9);
    std::uint64_t number = 0;
    for (auto& cell : a)
        for (auto& part : cell) part = ++number * 0x9e3779b97f4a7c15; // golden section: far from each other
    for (auto& cell : b) cell.fill(0x7ff4000000000007);
    const Bits<Cell> source = a;
    Bits<Cell> expected = b;
    for (std::uint64_t i = 0; i < rows; ++i) {
        for (std::uint64_t j = 0; j < cols; ++j) {
            expected[offset + j + ldb * i] = a[offset + i + lda * j];
            expected[offset + j + ldb * i].back() ^= flipped;
        }
    }
    form(rows, cols, reinterpret_cast<const Cell*>(a.data() + offset), lda,
         reinterpret_cast<Cell*>(b.data() + offset), ldb);
    EXPECT_TRUE(b == expected);
    EXPECT_TRUE(a == source);
}

template <class Cell>
void expectEachForm(const detail::KernelForms<detail::TransposeSquares<Cell>>& forms,
                    std::uint64_t flipped = 0)
{
    const bool avx2 = detail::thisProcessor().kernels >= detail::InstructionSet::Avx2;
    for (const auto form : {forms.sse2, avx2 ? forms.avx2 : forms.sse2, forms.chosen()}) {
        for (std::uint64_t rows = 0; rows < 35; ++rows)
            for (std::uint64_t cols = 0; cols < 35; ++cols)
                expectBitsOfAPlainLoop(form, rows, cols, rows % 3, cols % 2, cols % 5, flipped);
        // columns that begin at lines, or all at the same place of one
        for (const std::uint64_t offset : {0, 1, 3, 6})
            expectBitsOfAPlainLoop(form, 64, 48, 0, 0, offset, flipped);
        // beyond the second cache
        expectBitsOfAPlainLoop(form, 900, 701, 0, 3, 1, flipped);
        // beyond the caches: lines of all shifts, last squares and panels that are cut short, narrow ones
        const std::uint64_t doubles = 1700000, cells = doubles * sizeof(double) / sizeof(Cell);
        for (const std::uint64_t rows : {3, 9, 131, 1024}) {
            for (const std::uint64_t more : {0, 1, 4, 6}) {
                expectBitsOfAPlainLoop(form, rows, cells / rows / 8 * 8 + more, 0, 0, more % 3, flipped);
            }
            expectBitsOfAPlainLoop(form, cells / rows + 1, rows, 5, 1 + rows % 4, 1, flipped);
        }
    }
}

TEST(TransposeSquares, EachFormGivesTheBitsOfAPlainLoop)
{
    expectEachForm(detail::transposeSquares());
}

TEST(TransposeSquares, EachComplexFormGivesTheBitsOfAPlainLoop)
{
    expectEachForm(detail::transposeComplexSquares());
}

TEST(TransposeSquares, EachAdjointFormFlipsTheSignsOfImaginaryPartsAndNoOtherBit)
{
    expectEachForm(detail::adjointSquares(), std::uint64_t{1} << 63);
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
