// Systems that are not square, dense and sparse, against solutions in 113 bits: what condition, residual and
// units make of the error, and that the bound told with an answer covers it.

#include <lintrix/lintrix.h>
#include <tests/systems/torture/exact_least_squares.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace Velmar::Lintrix::testing {
namespace {

template <class Cell>
class RectangularBounds : public ::testing::Test {
public:
    using M = detail::MatrixOf<Cell>;

    /// Singular values from about 1 down to 1/condition, or somewhat further.
    static M tall(Cells& cells, std::int32_t rows, std::int32_t cols, double condition)
    {
        M left = cells.matrix<Cell>(rows, cols);
        for (std::int32_t j = 0; j < cols; ++j)
            for (std::int32_t i = 0; i < rows; ++i)
                left(i, j) *= std::pow(condition, -static_cast<double>(j) / (cols - 1));
        return left * cells.matrix<Cell>(cols, cols);
    }

    /// check(A, cells) of A and of its adjoint, from the same numbers.
    template <class Check>
    static void forTallAndWide(std::uint64_t seed, std::int32_t rows, std::int32_t cols, double condition,
                               Check check)
    {
        for (const bool isWide : {false, true}) {
            SCOPED_TRACE(isWide ? "wide" : "tall");
            Cells cells(seed);
            const M A = tall(cells, rows, cols, condition);
            check(isWide ? adjointOf(A) : A, cells);
        }
    }

    static double conjugated(double cell) { return cell; }
    static ComplexCell conjugated(const ComplexCell& cell) { return std::conj(cell); }

    static M adjointOf(const M& A)
    {
        M turned(A.Cols(), A.Rows());
        for (std::int32_t i = 0; i < A.Cols(); ++i)
            for (std::int32_t j = 0; j < A.Rows(); ++j) turned(i, j) = conjugated(Cell(A.Item(j, i)));
        return turned;
    }

    static QuadVector quadColumn(const M& X, std::int32_t j)
    {
        QuadVector x;
        for (std::int32_t i = 0; i < X.Rows(); ++i) x.emplace_back(Cell(X.Item(i, j)));
        return x;
    }

    /// Both ways to state it: the same promises.
    template <class Check>
    static void forDenseAndSparse(const M& A, const M& B, Check check)
    {
        {
            SCOPED_TRACE("dense");
            check(LinearSystem(A).Solve(B));
        }
        SCOPED_TRACE("sparse");
        check(LinearSystem(detail::SparseOf<Cell>(A)).Solve(B));
    }

    static void expectAccurateUnlessIllConditioned(const SystemAnswer<Cell>& answer, const M& A)
    {
        if (ExactLeastSquares(quadOf(A)).condition() < 1e9L) {
            EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.Explain();
        }
    }

    /// An answer called accurate is so; and a bound is never below the error.
    static void expectNothingFalse(const SystemAnswer<Cell>& answer, const M& A, const M& B)
    {
        ASSERT_TRUE(answer.x);
        ASSERT_EQ(answer.columns.size(), static_cast<std::size_t>(B.Cols()));
        const ExactLeastSquares exact(quadOf(A));
        for (std::int32_t j = 0; j < B.Cols(); ++j) {
            const QuadVector solution = exact.solve(quadColumn(B, j));
            const QuadVector x = quadColumn(*answer.x, j);
            const long double off = largest(difference(solution, x)),
                              error = off == 0.0L ? 0.0L : off / largest(x);
            const ColumnQuality& column = answer.columns[static_cast<std::size_t>(j)];
            if (column.verdict == Verdict::Accurate) {
                ASSERT_TRUE(column.errorBound);
            }
            if (!column.errorBound) continue; // of one that is told to be deficient
            EXPECT_GE(*column.errorBound * (1.0 + 1e-10), error) << "column " << j;
            if (column.verdict == Verdict::Accurate) {
                EXPECT_LE(error, 1e-6L) << "column " << j;
            }
        }
    }
};

using CellTypes = ::testing::Types<double, ComplexCell>;
TYPED_TEST_SUITE(RectangularBounds, CellTypes);

/// The square of the condition goes with the residual: 1e10 and a large residual left no digit of what was
/// solved in one precision.
TYPED_TEST(RectangularBounds, OfTallOnesAreKeptWhateverTheResidual)
{
    for (const double condition : {1e2, 1e5, 1e8, 1e10, 1e12}) {
        SCOPED_TRACE(condition);
        Cells cells(static_cast<std::uint64_t>(std::log10(condition)));
        const auto A = TestFixture::tall(cells, 40, 6, condition);
        auto B = cells.matrix<TypeParam>(40, 2); // the first all but at right angles to A, the second not
        const auto inRange = A * cells.matrix<TypeParam>(6, 1);
        for (std::int32_t i = 0; i < 40; ++i) B(i, 1) = TypeParam(inRange.Item(i, 0));
        TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
            TestFixture::expectNothingFalse(answer, A, B);
            TestFixture::expectAccurateUnlessIllConditioned(answer, A);
        });
    }
}

TYPED_TEST(RectangularBounds, OfWideOnesAreKept)
{
    for (const double condition : {1e2, 1e5, 1e8, 1e10, 1e12}) {
        SCOPED_TRACE(condition);
        Cells cells(static_cast<std::uint64_t>(std::log10(condition)));
        const auto A = TestFixture::adjointOf(TestFixture::tall(cells, 40, 6, condition));
        const auto B = cells.matrix<TypeParam>(6, 2);
        TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
            TestFixture::expectNothingFalse(answer, A, B);
            TestFixture::expectAccurateUnlessIllConditioned(answer, A);
        });
    }
}

/// Beyond what twice the precision reaches nothing is promised, and that is told.
TYPED_TEST(RectangularBounds, AreToldNotToBeThereWhereMatricesAreAllButSingular)
{
    TestFixture::forTallAndWide(3, 40, 6, 1e15, [&](const auto& A, Cells& cells) {
        const auto B = cells.matrix<TypeParam>(A.Rows(), 1);
        TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
            EXPECT_NE(answer.verdict, Verdict::Accurate) << answer.Explain();
        });
    });
}

/// Columns of a tall matrix are in units of the unknowns, rows of a wide one in units of the equations.
TYPED_TEST(RectangularBounds, UnitsAreNoDeficiency)
{
    TestFixture::forTallAndWide(5, 20, 5, 10.0, [&](const auto& A, Cells& cells) {
        const bool isWide = A.Rows() < A.Cols();
        auto B = cells.matrix<TypeParam>(A.Rows(), 1), scaled = A, turned = B;
        const auto plain = LinearSystem(A).Solve(B);
        const auto unitOf = [](std::int32_t k) { return std::ldexp(1.0, 60 * (k % 3 - 1)); };
        for (std::int32_t i = 0; i < A.Rows(); ++i) {
            for (std::int32_t j = 0; j < A.Cols(); ++j) scaled(i, j) *= unitOf(isWide ? i : j);
            if (isWide) turned(i, 0) *= unitOf(i);
        }
        TestFixture::forDenseAndSparse(scaled, turned, [&](const SystemAnswer<TypeParam>& answer) {
            EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.Explain();
            ASSERT_TRUE(answer.x);
            for (std::int32_t j = 0; j < A.Cols(); ++j) {
                const TypeParam expected = TypeParam(plain.x->Item(j, 0)),
                                found = TypeParam(answer.x->Item(j, 0)) * (isWide ? 1.0 : unitOf(j));
                EXPECT_LE(std::abs(found - expected), 1e-12 * std::abs(expected)) << j;
            }
        });
    });
}

TYPED_TEST(RectangularBounds, AColumnThatIsNoNumberIsTheOnlyOneToFail)
{
    TestFixture::forTallAndWide(7, 12, 4, 10.0, [&](const auto& A, Cells& cells) {
        auto B = cells.matrix<TypeParam>(A.Rows(), 3);
        const auto clean = LinearSystem(A).Solve(B);
        B(2, 1) = std::numeric_limits<double>::quiet_NaN();
        TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
            EXPECT_EQ(answer.verdict, Verdict::Failed);
            EXPECT_EQ(answer.reason, "a right-hand side is not finite");
            ASSERT_TRUE(answer.x);
            ASSERT_EQ(answer.columns.size(), 3U);
            for (const std::int32_t j : {0, 2}) {
                EXPECT_EQ(answer.columns[static_cast<std::size_t>(j)].verdict, Verdict::Accurate);
                for (std::int32_t i = 0; i < A.Cols(); ++i) {
                    const TypeParam expected = TypeParam(clean.x->Item(i, j));
                    EXPECT_LE(std::abs(TypeParam(answer.x->Item(i, j)) - expected),
                              1e-12 * std::abs(expected));
                }
            }
            EXPECT_EQ(answer.columns[1].verdict, Verdict::Failed);
            EXPECT_EQ(answer.columns[1].reason, "the right-hand side is not finite");
            EXPECT_TRUE(std::isnan(answer.columns[1].backwardError));
            EXPECT_FALSE(answer.columns[1].errorBound);
            if (answer.normalResidual) {
                EXPECT_TRUE(std::isnan(*answer.normalResidual));
            }
            EXPECT_TRUE(std::isnan(std::abs(TypeParam(answer.x->Item(0, 1)))));
        });
    });
}

/// Right-hand sides in units of their own: 1e-200 beside 1e200.
TYPED_TEST(RectangularBounds, EachRightHandSideIsJudgedInItsOwnUnit)
{
    Cells cells(9);
    const auto A = TestFixture::tall(cells, 12, 4, 100.0);
    auto B = cells.matrix<TypeParam>(12, 3);
    for (std::int32_t i = 0; i < 12; ++i) {
        B(i, 0) *= 1e-200;
        B(i, 2) *= 1e200;
    }
    TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.Explain();
        TestFixture::expectNothingFalse(answer, A, B);
        for (const ColumnQuality& column : answer.columns) EXPECT_LE(*column.errorBound, 1e-10);
    });
}

/// In a unit of its own each unknown is small beside another's rounding: the bound has to know.
TYPED_TEST(RectangularBounds, HoldWhereColumnsAreInUnitsFarApart)
{
    for (const int spread : {20, 30}) {
        for (std::uint64_t seed = 0; seed < 10; ++seed) {
            SCOPED_TRACE(seed);
            Cells cells(seed);
            auto A = TestFixture::tall(cells, 16, 4, seed % 2 == 0 ? 10.0 : 1e4);
            for (std::int32_t i = 0; i < A.Rows(); ++i)
                for (std::int32_t j = 0; j < A.Cols(); ++j) A(i, j) *= std::ldexp(1.0, spread * (j % 3 - 1));
            const auto B = A * cells.matrix<TypeParam>(4, 2); // in the range, but for rounding
            TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
                TestFixture::expectNothingFalse(answer, A, B);
            });
        }
    }
}

/// b all but at right angles to A: x is small, and has digits all the same.
TYPED_TEST(RectangularBounds, OfSmallSolutionsBesideALargeResidualAreKept)
{
    auto A = detail::MatrixOf<TypeParam>(3, 1);
    auto B = detail::MatrixOf<TypeParam>(3, 2);
    A(0, 0) = 1.0;
    B(0, 0) = 1e-14;
    B(1, 0) = B(1, 1) = 1.0;
    B(0, 1) = 0x1p-300;
    TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
        TestFixture::expectNothingFalse(answer, A, B);
        EXPECT_EQ(TypeParam(answer.x->Item(0, 0)), TypeParam(1e-14));
        EXPECT_EQ(TypeParam(answer.x->Item(0, 1)), TypeParam(0x1p-300));
    });
}

TYPED_TEST(RectangularBounds, AZeroThatSolvesIsAccurate)
{
    auto A = detail::MatrixOf<TypeParam>(3, 1), B = A;
    A(0, 0) = A(1, 0) = A(2, 0) = 1.0;
    B(0, 0) = 1.0;
    B(1, 0) = -1.0;
    TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
        EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.Explain();
        ASSERT_TRUE(answer.x);
        EXPECT_EQ(TypeParam(answer.x->Item(0, 0)), TypeParam(0.0));
        EXPECT_EQ(answer.columns[0].errorBound, 0.0);
    });
}

/// What underflows in the caller's unit has lost its digits, whatever it was solved in.
TYPED_TEST(RectangularBounds, WhatUnderflowsIsNotAccurate)
{
    TestFixture::forTallAndWide(13, 12, 4, 10.0, [&](const auto& A, Cells& cells) {
        for (const int exponent : {-1040, -1060}) {
            auto B = cells.matrix<TypeParam>(A.Rows(), 1);
            for (std::int32_t i = 0; i < A.Rows(); ++i) B(i, 0) *= std::ldexp(1.0, exponent);
            TestFixture::forDenseAndSparse(A, B, [&](const SystemAnswer<TypeParam>& answer) {
                if (answer.x)
                    TestFixture::expectNothingFalse(answer, A, B);
                else
                    EXPECT_EQ(answer.verdict, Verdict::Failed);
            });
        }
    });
}

/// The right-hand sides of a known solution are op(A)*X, each of them.
TYPED_TEST(RectangularBounds, KnownSolutionsComeBackByEveryOp)
{
    Cells cells(15);
    const auto A = TestFixture::tall(cells, 4, 12, 1.0); // op(A) is tall for both turned ones
    for (const TransposeMode op : {TransposeMode::Transposed, TransposeMode::ConjugateTransposed}) {
        const auto known = cells.matrix<TypeParam>(4, 3);
        for (const auto& answer : {LinearSystem(A).SolveKnown(known, op),
                                   LinearSystem(detail::SparseOf<TypeParam>(A)).SolveKnown(known, op)}) {
            EXPECT_EQ(answer.verdict, Verdict::Accurate) << answer.Explain();
            ASSERT_TRUE(answer.knownError);
            EXPECT_LE(*answer.knownError, 1e-12);
        }
    }
}

TYPED_TEST(RectangularBounds, AreLeftOutWhereNobodyAsks)
{
    Cells cells(11);
    const auto A = TestFixture::tall(cells, 12, 4, 100.0);
    const auto B = cells.matrix<TypeParam>(12, 2);
    SystemOptions options;
    options.errorBounds = 0;
    for (const auto& answer : {LinearSystem(A, options).Solve(B),
                               LinearSystem(detail::SparseOf<TypeParam>(A), options).Solve(B)}) {
        EXPECT_EQ(answer.verdict, Verdict::Accurate);
        ASSERT_EQ(answer.columns.size(), 2U);
        for (const ColumnQuality& column : answer.columns) {
            EXPECT_FALSE(column.errorBound);
            EXPECT_EQ(column.verdict, Verdict::Accurate);
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix::testing
