#include "tests/sparse/kernels_support.h"

#include <lintrix/sparse/kernels/column_sweep.h>

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::testing;

namespace {

template <class Cell>
class CsrmultcsrTest : public ::testing::Test {
};
TYPED_TEST_SUITE(CsrmultcsrTest, Cells);

template <class Cell>
void expectProduct(const char* trans, const Rows<Cell>& A, const Rows<Cell>& B)
{
    const Rows<Cell> C = product(trans, A, B);
    expectWellFormed(C);
    const auto opA = applied(*trans, A.dense()), b = B.dense(), c = C.dense();
    Dense<Cell> stored(c.rows, c.cols);
    for (int i = 0; i < C.rows; ++i) {
        for (int p = C.ia[i] - 1; p < C.ia[i + 1] - 1; ++p) stored(i, C.ja[p] - 1) = 1.0;
    }
    for (int r = 0; r < c.rows; ++r) {
        for (int k = 0; k < c.cols; ++k) {
            Cell sum{0.0};
            bool meets = false;
            for (int j = 0; j < opA.cols; ++j) {
                sum += opA(r, j) * b(j, k);
                meets = meets || (opA(r, j) != Cell{0.0} && b(j, k) != Cell{0.0});
            }
            expectNear(c(r, k), sum, opA.cols);
            ASSERT_EQ(stored(r, k) != Cell{0.0}, meets) << r << ", " << k; // random values do not cancel
        }
    }
}

TYPED_TEST(CsrmultcsrTest, ProductsAreThoseOfTheDenseMatrices)
{
    using Cell = TypeParam;
    Source source(31);
    struct Sizes {
        int m, n, k;
    };
    for (const Sizes s :
         {Sizes{1, 1, 1}, {9, 9, 9}, {13, 6, 40}, {6, 13, 2}, {0, 3, 4}, {3, 0, 4}, {3, 4, 0}, {0, 0, 0}}) {
        for (const double density : {0.05, 0.3, 1.0}) {
            for (const char* trans : {"N", "T", "C"}) {
                SCOPED_TRACE(::testing::Message()
                             << s.m << ' ' << s.n << ' ' << s.k << ' ' << density << trans);
                const auto A = source.rows<Cell>(s.m, s.n, density);
                const auto B = source.rows<Cell>(*trans == 'N' ? s.n : s.m, s.k, 0.4);
                expectProduct(trans, A, B);
            }
        }
    }
}

template <class Cell>
Rows<Cell> transposedRows(const Rows<Cell>& A)
{
    const auto dense = A.dense();
    Rows<Cell> T;
    T.cols = A.rows;
    for (int c = 0; c < A.cols; ++c) {
        for (int r = 0; r < A.rows; ++r) {
            if (dense(r, c) != Cell{0.0}) T.put(r, dense(r, c));
        }
        T.endRow();
    }
    return T;
}

// From short rows, which are sorted by insertion, to rows of several words of the bitmap's summary.
TYPED_TEST(CsrmultcsrTest, RowsOfEveryLengthComeOutAscending)
{
    using Cell = TypeParam;
    Source source(32);
    const auto A = source.rows<Cell>(12, 60, 0.5), transposed = transposedRows(A);
    for (const int columns : {30, 33, 64, 65, 4096, 4097, 9000}) {
        for (const double density : {0.0005, 0.02, 0.3}) {
            const auto B = source.rows<Cell>(60, columns, density);
            const auto C = product("N", A, B);
            expectWellFormed(C);
            EXPECT_EQ(product("T", transposed, B), C);
        }
    }
}

TYPED_TEST(CsrmultcsrTest, ColumnsFiveThenTwoComeOutAscending)
{
    using Cell = TypeParam;
    // The first row of B met holds column 5, the second column 2.
    const auto A = rowsOf<Cell>(2, {{{0, 10.0}, {1, 100.0}}});
    const auto B = rowsOf<Cell>(6, {{{5, 1.0}}, {{2, 2.0}}});
    EXPECT_EQ(product("N", A, B), rowsOf<Cell>(6, {{{2, 200.0}, {5, 10.0}}}));
    const auto swapped = rowsOf<Cell>(2, {{{1, 100.0}, {0, 10.0}}}); // A's own order does not matter
    EXPECT_EQ(product("N", swapped, B), rowsOf<Cell>(6, {{{2, 200.0}, {5, 10.0}}}));
    const auto unit =
        rowsOf<Cell>(6, {{{0, 1.0}}, {{1, 1.0}}, {{2, 1.0}}, {{3, 1.0}}, {{4, 1.0}}, {{5, 1.0}}});
    const auto fiveThenTwo = rowsOf<Cell>(6, {{{5, 10.0}, {2, 100.0}}});
    EXPECT_EQ(product("N", fiveThenTwo, unit), rowsOf<Cell>(6, {{{2, 100.0}, {5, 10.0}}}));
}

TYPED_TEST(CsrmultcsrTest, WhatCancelsStaysStoredInTheStraightProduct)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(2, {{{0, 1.0}, {1, 1.0}}});
    const auto B = rowsOf<Cell>(2, {{{0, 3.0}, {1, 1.0}}, {{0, -3.0}, {1, 1.0}}});
    int counted = 0;
    EXPECT_EQ(product("N", A, B, &counted), rowsOf<Cell>(2, {{{0, 0.0}, {1, 2.0}}}));
    EXPECT_EQ(counted, 2);
}

TYPED_TEST(CsrmultcsrTest, WhatCancelsIsDroppedInTheTransposedProductAndRowPointersAreRewritten)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(2, {{{0, 1.0}, {1, 2.0}}, {{0, 1.0}}});
    const auto B = rowsOf<Cell>(2, {{{0, 3.0}, {1, 1.0}}, {{0, -3.0}, {1, 1.0}}});
    for (const char* trans : {"T", "C"}) {
        int counted = 0;
        EXPECT_EQ(product(trans, A, B, &counted), rowsOf<Cell>(2, {{{1, 2.0}}, {{0, 6.0}, {1, 2.0}}}));
        EXPECT_EQ(counted, 4);
    }
}

TYPED_TEST(CsrmultcsrTest, DroppedElementsDoNotDisturbTheRowsBehindThem)
{
    using Cell = TypeParam;
    Rows<Cell> A, B; // 50 columns of A with 1 and 1, B's rows cancel in all but every third column
    A.cols = 50;
    B.cols = 60;
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 50; ++j) A.put(j, Cell{1.0});
        A.endRow();
        for (int j = 0; j < 60; ++j) B.put(j, Cell{i == 0 || j % 3 == 0 ? 1.0 : -1.0});
        B.endRow();
    }
    const auto C = product("T", A, B);
    expectWellFormed(C);
    ASSERT_EQ(C.a.size(), 50u * 20u);
    for (std::size_t p = 0; p < C.a.size(); ++p) {
        ASSERT_EQ(C.ja[p], static_cast<int>(p % 20) * 3 + 1);
        ASSERT_EQ(C.a[p], Cell{2.0});
    }
}

TYPED_TEST(CsrmultcsrTest, ANotANumberIsNoZero)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(1, {{{0, Cell{kNaN}}}}), B = rowsOf<Cell>(1, {{{0, 1.0}}});
    for (const char* trans : {"N", "T"}) EXPECT_EQ(product(trans, A, B).a.size(), 1u);
}

TYPED_TEST(CsrmultcsrTest, RequestTwoRewritesTheFirstRowPointerInTheTransposedProductOnly)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(1, {{{0, 2.0}}}), B = rowsOf<Cell>(1, {{{0, 3.0}}});
    std::vector<int> ic{-7, -7};
    int jc = 0, info = 0;
    Cell c{0.0};
    csrmultcsr<Cell>("T", 2, A, B, &c, &jc, ic.data(), info);
    EXPECT_EQ(ic, (std::vector<int>{1, 2}));
    EXPECT_EQ(c, Cell{6.0});
    ic = {1, -7}; // only ic[0] is needed for the one row
    csrmultcsr<Cell>("N", 2, A, B, &c, &jc, ic.data(), info);
    EXPECT_EQ(ic, (std::vector<int>{1, -7}));
}

TEST(CsrmultcsrComplexTest, OnlyConjugatesAAndOnlyForC)
{
    const ComplexCell i{0.0, 1.0};
    const auto A = rowsOf<ComplexCell>(1, {{{0, i}}}), B = rowsOf<ComplexCell>(1, {{{0, i}}});
    EXPECT_EQ(product("T", A, B).a[0], ComplexCell(-1.0));
    EXPECT_EQ(product("C", A, B).a[0], ComplexCell(1.0));
}

TYPED_TEST(CsrmultcsrTest, WithoutMemoryTheProductSaysSoAndTouchesNothing)
{
    using Cell = TypeParam;
    Source source(33);
    const auto A = source.rows<Cell>(30, 30, 0.3), B = source.rows<Cell>(30, 80, 0.3);
    for (const char* trans : {"N", "T"}) {
        const auto expected = product(trans, A, B);
        for (const int request : {1, 2}) {
            const int requests =
                expectUntouchedWithoutMemory(request, expected, [&](Cell* c, int* jc, int* ic, int& info) {
                    csrmultcsr<Cell>(trans, request, A, B, c, jc, ic, info);
                });
            EXPECT_GE(requests, request == 1 && *trans == 'N' ? 1 : 3);
        }
    }
}

TEST(ColumnSweep, FindsWhatWasNotedAscendingAndIsEmptyAfterwards)
{
    detail::ColumnSweep sweep(20000);
    for (const std::vector<int>& numbers :
         {std::vector<int>{19999, 0, 63, 64, 4095, 4096}, {5}, {}, {12000, 64, 65, 63}}) {
        std::vector<int> found, sorted = numbers;
        std::sort(sorted.begin(), sorted.end());
        sweep.inOrder(numbers.data(), static_cast<int>(numbers.size()), [&](int n) { found.push_back(n); });
        EXPECT_EQ(found, sorted);
    }
}

} // namespace
