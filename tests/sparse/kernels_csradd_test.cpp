#include "tests/sparse/kernels_support.h"

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::testing;

namespace {

template <class Cell>
class CsraddTest : public ::testing::Test {
};
TYPED_TEST_SUITE(CsraddTest, Cells);

/// A + beta*op(B) where both are stored, cell by cell in the form beta*b + a.
template <class Cell>
void expectSum(const char* trans, const Rows<Cell>& A, Cell beta, const Rows<Cell>& B)
{
    const Rows<Cell> C = sum(trans, A, beta, B);
    expectWellFormed(C);
    const auto stored = [](const Rows<Cell>& M) {
        Rows<Cell> pattern = M;
        std::fill(pattern.a.begin(), pattern.a.end(), Cell{1.0});
        return pattern.dense();
    };
    const auto inA = stored(A), inB = applied(*trans, stored(B)), inC = stored(C);
    const auto a = A.dense(), b = applied(*trans, B.dense()), c = C.dense();
    for (int r = 0; r < A.rows; ++r) {
        for (int k = 0; k < A.cols; ++k) {
            const bool hasA = inA(r, k) != Cell{0.0}, hasB = inB(r, k) != Cell{0.0};
            ASSERT_EQ(inC(r, k) != Cell{0.0}, hasA || hasB);
            const Cell expected = hasA && hasB ? beta * b(r, k) + a(r, k) : hasA ? a(r, k) : beta * b(r, k);
            if (hasA || hasB) {
                ASSERT_EQ(c(r, k), expected) << r << ", " << k;
            }
        }
    }
}

TYPED_TEST(CsraddTest, SumsAreThoseOfTheDenseMatrices)
{
    using Cell = TypeParam;
    Source source(21);
    for (const Shape shape : {Shape{1, 1}, {9, 9}, {13, 40}, {40, 13}, {3, 0}, {0, 3}, {0, 0}}) {
        for (const double density : {0.0, 0.2, 0.7, 1.0}) {
            for (const char* trans : {"N", "T", "C"}) {
                SCOPED_TRACE(::testing::Message() << shape << density << trans);
                const bool straight = *trans == 'N';
                const auto A = source.rows<Cell>(shape.rows, shape.cols, 0.4);
                const auto B = source.rows<Cell>(straight ? shape.rows : shape.cols,
                                                 straight ? shape.cols : shape.rows, density);
                for (const Cell beta : {Cell{1.0}, Cell{-2.5}}) expectSum(trans, A, beta, B);
            }
        }
    }
}

// B has fewer than 4 elements a row in one case, so that its columns are listed at once, and many more in the
// other, so that they are listed in several runs.
TYPED_TEST(CsraddTest, TransposedSumsTakeShortAndLongColumns)
{
    using Cell = TypeParam;
    Source source(22);
    for (const Shape shape : {Shape{6, 300}, {300, 6}, {64, 64}}) {
        for (const double density : {0.02, 0.3, 1.0}) {
            const auto A = source.rows<Cell>(shape.rows, shape.cols, 0.1);
            const auto B = source.rows<Cell>(shape.cols, shape.rows, density);
            expectSum("T", A, Cell{2.0}, B);
        }
    }
}

TYPED_TEST(CsraddTest, EmptyMatricesGiveRowPointersOfOnes)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(2, {{}, {}, {}}), B = rowsOf<Cell>(3, {{}, {}});
    EXPECT_EQ(sum<Cell>("N", A, 1.0, A).ia, (std::vector<int>{1, 1, 1, 1}));
    EXPECT_EQ(sum<Cell>("T", A, 1.0, B).ia, (std::vector<int>{1, 1, 1, 1}));
    Rows<Cell> none;
    EXPECT_EQ(sum<Cell>("N", none, 1.0, none).ia, (std::vector<int>{1}));
}

TYPED_TEST(CsraddTest, BetaZeroKeepsTheUnionPatternWithZeros)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(3, {{{1, 5.0}}}), B = rowsOf<Cell>(3, {{{0, 7.0}, {1, 8.0}, {2, 9.0}}});
    EXPECT_EQ(sum<Cell>("N", A, 0.0, B), rowsOf<Cell>(3, {{{0, 0.0}, {1, 5.0}, {2, 0.0}}}));
}

TYPED_TEST(CsraddTest, WhatCancelsStaysStored)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(2, {{{0, 5.0}, {1, 1.0}}});
    EXPECT_EQ(sum<Cell>("N", A, -1.0, A), rowsOf<Cell>(2, {{{0, 0.0}, {1, 0.0}}}));
}

TYPED_TEST(CsraddTest, BetaIsAppliedToEveryElementOfBAlsoWhenItIsNotANumber)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(2, {{{0, -0.0}}}), B = rowsOf<Cell>(2, {{{1, 2.0}}});
    const auto C = sum<Cell>("N", A, Cell{kNaN}, B);
    EXPECT_TRUE(std::signbit(std::real(C.a[0]))) << "A's own element is copied as it is";
    EXPECT_TRUE(std::isnan(std::real(C.a[1])));
}

TYPED_TEST(CsraddTest, PassOneNeedsNoValuesAndPassTwoKeepsTheRowPointers)
{
    using Cell = TypeParam;
    auto A = rowsOf<Cell>(2, {{{0, 5.0}}, {{0, 1.0}, {1, 2.0}}});
    const auto values = A.a;
    A.a.clear();
    A.a.shrink_to_fit();
    std::vector<int> ic(3, -1), jc(3);
    std::vector<Cell> c(3);
    int info = 5;
    for (const char* trans : {"N", "T"}) {
        csradd<Cell>(trans, 1, A, 1.0, A, nullptr, nullptr, ic.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_EQ(ic.back(), *trans == 'N' ? 4 : 5);
    }
    csradd<Cell>("N", 1, A, 1.0, A, nullptr, nullptr, ic.data(), info);
    A.a = values;
    csradd<Cell>("N", 2, A, 1.0, A, c.data(), jc.data(), ic.data(), info);
    EXPECT_EQ(ic, (std::vector<int>{1, 2, 4}));
    EXPECT_EQ(c, (std::vector<Cell>{10.0, 2.0, 4.0}));
}

TYPED_TEST(CsraddTest, WithoutMemoryTheTransposedSumSaysSoAndTouchesNothing)
{
    using Cell = TypeParam;
    Source source(23);
    const auto A = source.rows<Cell>(30, 20, 0.3), B = source.rows<Cell>(20, 30, 0.3);
    const auto expected = sum<Cell>("T", A, 1.0, B);
    for (const int request : {1, 2}) {
        const int requests =
            expectUntouchedWithoutMemory(request, expected, [&](Cell* c, int* jc, int* ic, int& info) {
                csradd<Cell>("T", request, A, 1.0, B, c, jc, ic, info);
            });
        EXPECT_GE(requests, 2);
    }
}

} // namespace
