#include "tests/sparse/kernels_support.h"

// Together, so that the compiler sees a name that both would give to different things.
#include <lintrix/sparse/detail/triplet_compression.h>
#include <lintrix/sparse/kernels/dense_operand.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::testing;

namespace {

/// alpha*op(A)*x + beta*y by the definition; beta 0 leaves y out.
template <class Cell>
std::vector<Cell> expectedProduct(const Dense<Cell>& opA, Cell alpha, const std::vector<Cell>& x, Cell beta,
                                  const std::vector<Cell>& y)
{
    std::vector<Cell> result;
    for (int r = 0; r < opA.rows; ++r) {
        Cell sum{0.0};
        for (int c = 0; c < opA.cols; ++c) sum += opA(r, c) * x[c];
        result.push_back(alpha * sum + (beta == Cell{0.0} ? Cell{0.0} : beta * y[r]));
    }
    return result;
}

template <class Cell>
void expectVectorsNear(const std::vector<Cell>& own, const std::vector<Cell>& expected, int terms)
{
    ASSERT_EQ(own.size(), expected.size());
    for (std::size_t i = 0; i < own.size(); ++i) {
        SCOPED_TRACE(i);
        expectNear(own[i], expected[i], terms);
    }
}

template <class Cell>
class CsrmvTest : public ::testing::Test {
};
TYPED_TEST_SUITE(CsrmvTest, Cells);

constexpr Shape kShapes[] = {{1, 1},   {1, 7},     {7, 1}, {5, 5}, {33, 12},
                             {12, 33}, {240, 230}, {3, 0}, {0, 3}, {0, 0}};

TYPED_TEST(CsrmvTest, GeneralProductsAreThoseOfTheDenseMatrix)
{
    using Cell = TypeParam;
    Source source(1);
    for (const Shape shape : kShapes) {
        for (const double density : {0.0, 0.1, 0.6, 1.0}) {
            const auto A = source.rows<Cell>(shape.rows, shape.cols, density);
            for (const char* trans : {"N", "T", "C"}) {
                for (const Cell beta : {Cell{0.0}, Cell{1.0}, source.cell<Cell>()}) {
                    for (const int threads : {1, 2, 4}) {
                        SCOPED_TRACE(::testing::Message() << shape << density << trans << threads);
                        const ThreadSetting scope(threads);
                        const auto opA = applied(*trans, A.dense());
                        const Cell alpha = source.cell<Cell>();
                        const auto x = source.vector<Cell>(opA.cols);
                        auto y = source.vector<Cell>(opA.rows);
                        const auto expected = expectedProduct(opA, alpha, x, beta, y);
                        csrmv(trans, kGeneral, A, alpha, x, beta, y);
                        expectVectorsNear(y, expected, opA.cols);
                    }
                }
            }
        }
    }
}

TYPED_TEST(CsrmvTest, SymmetricProductsAreThoseOfTheMirroredTriangle)
{
    using Cell = TypeParam;
    Source source(2);
    for (const int n : {0, 1, 2, 9, 201, 302, 403, 1000, 1001}) {
        for (const double density : {0.02, 0.3}) {
            const auto A = source.rows<Cell>(n, n, n > 500 ? density / 10 : density, true);
            for (const char* trans : {"N", "T", "C"}) {
                for (const Cell beta : {Cell{0.0}, source.cell<Cell>()}) {
                    for (const int threads : {1, 2, 4}) {
                        SCOPED_TRACE(::testing::Message() << n << trans << threads);
                        const ThreadSetting scope(threads);
                        auto full = mirrored(A.dense());
                        if (*trans == 'C') {
                            for (Cell& cell : full.cells) cell = conjugated(cell);
                        }
                        const Cell alpha = source.cell<Cell>();
                        const auto x = source.vector<Cell>(n);
                        auto y = source.vector<Cell>(n);
                        const auto expected = expectedProduct(full, alpha, x, beta, y);
                        csrmv(trans, kSymmetric, A, alpha, x, beta, y);
                        expectVectorsNear(y, expected, n);
                    }
                }
            }
        }
    }
}

TYPED_TEST(CsrmvTest, SymmetricProductsOfEverySmallSizeAddToWhatStandsInY)
{
    using Cell = TypeParam;
    Source source(6);
    for (int n = 0; n <= 70; ++n) {
        SCOPED_TRACE(n);
        const auto A = source.rows<Cell>(n, n, 0.4, true);
        const auto x = source.vector<Cell>(n);
        auto y = source.vector<Cell>(n);
        const auto expected = expectedProduct(mirrored(A.dense()), Cell{-2.0}, x, Cell{1.0}, y);
        csrmv<Cell>("N", kSymmetric, A, -2.0, x, 1.0, y);
        expectVectorsNear(y, expected, n);
    }
}

TYPED_TEST(CsrmvTest, WhatIsNotFiniteInXReachesTheRowsOfASymmetricMatrixThatMeetIt)
{
    using Cell = TypeParam;
    const int n = 40, bad = 17;
    Source source(7);
    const auto A = source.rows<Cell>(n, n, 0.2, true);
    const auto full = mirrored(A.dense());
    for (const double value : {kNaN, std::numeric_limits<double>::infinity()}) {
        auto x = source.vector<Cell>(n);
        x[bad] = value;
        std::vector<Cell> y(n);
        csrmv<Cell>("N", kSymmetric, A, 1.0, x, 0.0, y);
        for (int i = 0; i < n; ++i) {
            EXPECT_EQ(std::isfinite(std::abs(y[i])), full(i, bad) == Cell{0.0}) << i;
        }
    }
}

TYPED_TEST(CsrmvTest, AnElementBelowTheDiagonalOfASymmetricMatrixIsIgnored)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(3, {{{0, 2.0}, {2, 3.0}}, {{0, 99.0}, {1, 4.0}}, {{0, 99.0}, {1, 99.0}}});
    std::vector<Cell> y(3);
    csrmv<Cell>("N", kSymmetric, A, 1.0, {1.0, 10.0, 100.0}, 0.0, y);
    EXPECT_EQ(y, (std::vector<Cell>{302.0, 40.0, 3.0}));
}

TYPED_TEST(CsrmvTest, BetaZeroDoesNotReadY)
{
    using Cell = TypeParam;
    Source source(3);
    const auto A = source.rows<Cell>(600, 600, 0.01, true);
    const auto x = source.vector<Cell>(600);
    for (const char* descriptor : {kGeneral, kSymmetric}) {
        for (const char* trans : {"N", "T", "C"}) {
            for (const int threads : {1, 3}) {
                const ThreadSetting scope(threads);
                std::vector<Cell> dirty(600, Cell{kNaN}), clean(600);
                csrmv<Cell>(trans, descriptor, A, 2.0, x, 0.0, dirty);
                csrmv<Cell>(trans, descriptor, A, 2.0, x, 0.0, clean);
                EXPECT_EQ(dirty, clean) << descriptor << trans << threads;
            }
        }
    }
}

TYPED_TEST(CsrmvTest, WithoutRowsOrElementsYIsOnlyScaled)
{
    using Cell = TypeParam;
    Rows<Cell> noRows;
    noRows.cols = 3;
    std::vector<Cell> y{1.0, 2.0, 3.0};
    csrmv<Cell>("T", kGeneral, noRows, 1.0, {}, 2.0, y);
    EXPECT_EQ(y, (std::vector<Cell>{2.0, 4.0, 6.0}));
    csrmv<Cell>("N", kGeneral, noRows, 1.0, {0.0, 0.0, 0.0}, 2.0, y);
    EXPECT_EQ(y, (std::vector<Cell>{2.0, 4.0, 6.0})); // op(A) has no rows
    const auto empty = rowsOf<Cell>(3, {{}, {}, {}});
    for (const char* descriptor : {kGeneral, kSymmetric}) {
        csrmv<Cell>("N", descriptor, empty, 1.0, {1.0, 1.0, 1.0}, 0.5, y);
    }
    EXPECT_EQ(y, (std::vector<Cell>{0.5, 1.0, 1.5}));
}

TYPED_TEST(CsrmvTest, ThreadsDoNotChangeTheGeneralProductNorARunTheOther)
{
    using Cell = TypeParam;
    Source source(4);
    const auto A = source.rows<Cell>(901, 901, 0.02);
    const auto U = source.rows<Cell>(1201, 1201, 0.02, true);
    const auto x = source.vector<Cell>(1201);
    const auto run = [&](const Rows<Cell>& matrix, const char* descriptor, int threads) {
        const ThreadSetting scope(threads);
        std::vector<Cell> y(1201);
        csrmv<Cell>("N", descriptor, matrix, 1.5, x, 0.0, y);
        return y;
    };
    EXPECT_EQ(run(A, kGeneral, 1), run(A, kGeneral, 4));
    EXPECT_EQ(run(U, kSymmetric, 4), run(U, kSymmetric, 4));
}

TYPED_TEST(CsrmvTest, WithoutMemoryForABufferOneThreadDoesTheSymmetricProduct)
{
    using Cell = TypeParam;
    Source source(5);
    const int n = 700;
    const auto A = source.rows<Cell>(n, n, 0.02, true);
    const auto x = source.vector<Cell>(n), old = source.vector<Cell>(n);
    std::vector<Cell> alone(old), y;
    csrmv<Cell>("N", kSymmetric, A, 1.0, x, 3.0, alone);
    const ThreadSetting scope(3);
    const int requests = failEachRequest(
        [&] {
            y = old;
            csrmv<Cell>("N", kSymmetric, A, 1.0, x, 3.0, y);
        },
        [&](bool failed) {
            if (failed) {
                expectVectorsNear(y, alone, 8 * n);
            } else {
                expectVectorsNear(y, alone, 8 * n);
                EXPECT_NE(y, alone) << "the sum over blocks rounds in another order";
            }
        });
    EXPECT_GE(requests, 3);
}

TYPED_TEST(CsrmvTest, OtherDescriptorsAreLegalAndLeaveYAsItIs)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(1, {{{0, 2.0}}});
    for (const char* descriptor : {"SLNF", "SUUF", "TUNF", "HUNF", "DUNF", "AUNF", "GUNC", "SUNC"}) {
        std::vector<Cell> y{7.0};
        csrmv<Cell>("N", descriptor, A, 1.0, {1.0}, 0.0, y);
        EXPECT_EQ(y[0], Cell{7.0}) << descriptor;
    }
}

TYPED_TEST(CsrmvTest, TheLettersBehindGeneralDoNotMatter)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(1, {{{0, 2.0}}});
    std::vector<Cell> y{7.0};
    csrmv<Cell>("N", "G??F", A, 1.0, {1.0}, 0.0, y);
    EXPECT_EQ(y[0], Cell{2.0});
}

} // namespace
