#include "tests/sparse/kernels_support.h"

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::testing;

namespace {

template <class Cell>
class CsrmmTest : public ::testing::Test {
};
TYPED_TEST_SUITE(CsrmmTest, Cells);

/// Compares alpha*op(A)*B + beta*C with the definition; ldb and ldc leave two rows between the columns, which
/// must stay.
template <class Cell>
void expectProduct(Source& source, const char* trans, const char* descriptor, const Rows<Cell>& A,
                   const Dense<Cell>& opA, int n, Cell beta)
{
    const int ldb = opA.cols + 2, ldc = opA.rows + 2;
    const Cell alpha = source.cell<Cell>();
    const auto B = source.vector<Cell>(ldb * n);
    const auto old = source.vector<Cell>(ldc * n);
    auto C = old;
    csrmm(trans, descriptor, A, n, alpha, B, ldb, beta, C, ldc);
    for (int c = 0; c < n; ++c) {
        for (int r = 0; r < ldc; ++r) {
            const auto at = static_cast<std::size_t>(r + c * ldc);
            if (r >= opA.rows) {
                ASSERT_EQ(C[at], old[at]);
                continue;
            }
            Cell sum{0.0};
            for (int k = 0; k < opA.cols; ++k) sum += opA(r, k) * B[static_cast<std::size_t>(k + c * ldb)];
            SCOPED_TRACE(::testing::Message() << r << ", " << c);
            expectNear(C[at], alpha * sum + beta * old[at], opA.cols);
        }
    }
}

TYPED_TEST(CsrmmTest, GeneralProductsAreThoseOfTheDenseMatrix)
{
    using Cell = TypeParam;
    Source source(11);
    for (const Shape shape : {Shape{1, 1}, {9, 9}, {13, 6}, {6, 13}, {0, 4}, {4, 0}}) {
        const auto A = source.rows<Cell>(shape.rows, shape.cols, 0.4);
        for (const char* trans : {"N", "T", "C"}) {
            const auto opA = applied(*trans, A.dense());
            for (const int n : {0, 1, 2, 3, 4, 5, 8, 11}) {
                for (const Cell beta : {Cell{0.0}, Cell{1.0}, source.cell<Cell>()}) {
                    SCOPED_TRACE(::testing::Message() << shape << trans << n);
                    expectProduct(source, trans, kGeneral, A, opA, n, beta);
                }
            }
        }
    }
}

TYPED_TEST(CsrmmTest, SymmetricProductsAreThoseOfTheMirroredTriangle)
{
    using Cell = TypeParam;
    Source source(12);
    for (const int size : {1, 8, 37}) {
        const auto A = source.rows<Cell>(size, size, 0.3, true);
        for (const char* trans : {"N", "T", "C"}) {
            auto full = mirrored(A.dense());
            if (*trans == 'C') {
                for (Cell& cell : full.cells) cell = conjugated(cell);
            }
            for (const int n : {1, 4, 7}) {
                for (const Cell beta : {Cell{0.0}, source.cell<Cell>()}) {
                    expectProduct(source, trans, kSymmetric, A, full, n, beta);
                }
            }
        }
    }
}

TYPED_TEST(CsrmmTest, ManyColumnsAreSharedOutAmongThreads)
{
    using Cell = TypeParam;
    Source source(13);
    const auto A = source.rows<Cell>(7, 7, 0.5);
    const auto U = source.rows<Cell>(7, 7, 0.5, true);
    const ThreadSetting scope(2);
    for (const int n : {400, 401, 407}) {
        for (const char* trans : {"N", "T", "C"}) {
            expectProduct(source, trans, kGeneral, A, applied(*trans, A.dense()), n, source.cell<Cell>());
        }
        expectProduct(source, "N", kSymmetric, U, mirrored(U.dense()), n, Cell{0.0});
    }
}

TYPED_TEST(CsrmmTest, BetaZeroDoesNotReadC)
{
    using Cell = TypeParam;
    Source source(14);
    const auto A = source.rows<Cell>(6, 6, 0.5, true);
    const auto B = source.vector<Cell>(30);
    for (const char* descriptor : {kGeneral, kSymmetric}) {
        for (const char* trans : {"N", "T", "C"}) {
            std::vector<Cell> dirty(30, Cell{kNaN}), clean(30);
            csrmm<Cell>(trans, descriptor, A, 5, 1.0, B, 6, 0.0, dirty, 6);
            csrmm<Cell>(trans, descriptor, A, 5, 1.0, B, 6, 0.0, clean, 6);
            EXPECT_EQ(dirty, clean) << descriptor << trans;
        }
    }
}

// The sparse classes pass the rows of A as the distance of the columns of C, in every mode.
TYPED_TEST(CsrmmTest, OverlappingColumnsAreScaledColumnByColumnAndThenAddedTo)
{
    using Cell = TypeParam;
    Source source(15);
    const int m = 3, k = 5, n = 450;
    const auto A = source.rows<Cell>(m, k, 0.7);
    const auto T = applied('T', A.dense());
    const auto B = source.vector<Cell>(k * n);
    const Cell beta{0.5};
    auto C = source.vector<Cell>(m * n + k), expected = C;
    const auto at = [&](int r, int c) { return static_cast<std::size_t>(r + c * m); };
    for (int c = 0; c < n; ++c) {
        for (int r = 0; r < k; ++r) expected[at(r, c)] *= beta;
    }
    for (int c = 0; c < n; ++c) {
        for (int r = 0; r < k; ++r) {
            for (int j = 0; j < m; ++j)
                expected[at(r, c)] += T(r, j) * B[static_cast<std::size_t>(j + c * k)];
        }
    }
    const ThreadSetting scope(2);
    csrmm<Cell>("T", kGeneral, A, n, 1.0, B, k, beta, C, m);
    for (std::size_t i = 0; i < C.size(); ++i) expectNear(C[i], expected[i], 4 * k);
}

TYPED_TEST(CsrmmTest, AColumnIsTheSameWhateverStandsBesideItAndHoweverManyThreads)
{
    using Cell = TypeParam;
    Source source(16);
    const int size = 40, n = 404;
    const auto A = source.rows<Cell>(size, size, 0.3);
    const auto column = source.vector<Cell>(size);
    std::vector<Cell> B;
    for (int c = 0; c < n; ++c) B.insert(B.end(), column.begin(), column.end());
    const auto run = [&](const char* trans, int threads) {
        const ThreadSetting scope(threads);
        std::vector<Cell> C(B.size());
        csrmm<Cell>(trans, kGeneral, A, n, 1.0, B, size, 0.0, C, size);
        return C;
    };
    for (const char* trans : {"N", "T"}) {
        const auto C = run(trans, 1);
        for (std::size_t i = size; i < C.size(); ++i) ASSERT_EQ(C[i], C[i % size]);
        EXPECT_EQ(C, run(trans, 2));
    }
}

// From 16 elements for each row of B on, whole panels of B are copied first: 4 columns of complex, 8 of real
// cells.
TYPED_TEST(CsrmmTest, ManyElementsForEachRowOfBAreMultipliedInPanelsOfAnyNumber)
{
    using Cell = TypeParam;
    Source source(17);
    for (const Shape shape : {Shape{20, 3}, {19, 3}, {60, 25}, {25, 60}}) {
        const auto A = source.rows<Cell>(shape.rows, shape.cols, 1.0);
        for (const int n : {1, 3, 4, 5, 7, 8, 9, 12, 16, 19}) {
            for (const Cell beta : {Cell{0.0}, source.cell<Cell>()}) {
                SCOPED_TRACE(::testing::Message() << shape << n);
                expectProduct(source, "N", kGeneral, A, A.dense(), n, beta);
            }
        }
    }
}

TYPED_TEST(CsrmmTest, AColumnIsTheSameAloneInAPanelAndWithoutMemoryForOne)
{
    using Cell = TypeParam;
    Source source(18);
    const int m = 60, k = 20, n = 19;
    const auto A = source.rows<Cell>(m, k, 1.0);
    const auto B = source.vector<Cell>(k * n), old = source.vector<Cell>(m * n);
    std::vector<Cell> alone, together;
    for (int c = 0; c < n; ++c) {
        const std::vector<Cell> column(B.begin() + c * k, B.begin() + (c + 1) * k);
        std::vector<Cell> result(old.begin() + c * m, old.begin() + (c + 1) * m);
        csrmm<Cell>("N", kGeneral, A, 1, 1.5, column, k, 0.5, result, m);
        alone.insert(alone.end(), result.begin(), result.end());
    }
    const int requests = failEachRequest(
        [&] {
            together = old;
            csrmm<Cell>("N", kGeneral, A, n, 1.5, B, k, 0.5, together, m);
        },
        [&](bool) { EXPECT_EQ(together, alone); });
    EXPECT_GE(requests, 1) << "no panel was copied";
}

TYPED_TEST(CsrmmTest, OtherDescriptorsAreLegalAndLeaveCAsItIs)
{
    using Cell = TypeParam;
    const auto A = rowsOf<Cell>(1, {{{0, 2.0}}});
    for (const char* descriptor : {"SLNF", "TUNF", "GUNC"}) {
        std::vector<Cell> C{7.0};
        csrmm<Cell>("N", descriptor, A, 1, 1.0, {1.0}, 1, 0.0, C, 1);
        EXPECT_EQ(C[0], Cell{7.0}) << descriptor;
    }
}

} // namespace
