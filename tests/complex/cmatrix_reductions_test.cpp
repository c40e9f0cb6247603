// Reductions, normalization and tests of CMatrix.

#include "tests/complex/complex_support.h"

#include <cmath>
#include <functional>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr NormalizeMode kNormalizeModes[] = {NormalizeMode::ZScores, NormalizeMode::UnitLength,
                                             NormalizeMode::MaximumOne};

TEST(CMatrixReductions, BadIndexIsRefusedWithItsText)
{
    const CMatrix A = countedComplex(2, 3);
    constexpr const char* row = "Row index exceeds matrix size.";
    constexpr const char* column = "Column index exceeds matrix size.";
    for (const int bad : {-1, 3}) {
        expectRefusedUnallocated<IndexOutOfBoundsException>(row, [&] { A.RowSum(bad); });
        expectRefusedUnallocated<IndexOutOfBoundsException>(column, [&] { A.ColSum(bad); });
        expectRefusedUnallocated<IndexOutOfBoundsException>(row, [&] { A.RowsDotProduct(bad, 0); });
        expectRefusedUnallocated<IndexOutOfBoundsException>(row, [&] { A.RowsDotProduct(0, bad); });
        expectRefusedUnallocated<IndexOutOfBoundsException>(column, [&] { A.ColsDotProduct(bad, 0); });
        expectRefusedUnallocated<IndexOutOfBoundsException>(column, [&] { A.ColsDotProduct(0, bad); });
    }
    EXPECT_NO_THROW(A.ColSum(2));
    EXPECT_THROW(A.RowSum(2), IndexOutOfBoundsException);
}

// ---- norms and sums

TEST(CMatrixReductions, NormOfASmallMatrixByEachType)
{
    const CMatrix A{{{3, 4}, -2}, {{0, 1}, {0, -12}}}; // moduli 5, 2; 1, 12
    EXPECT_EQ(A.Norm(NormType::InfinityNorm), 13.0);
    EXPECT_EQ(A.Norm(NormType::OneNorm), 14.0);
    EXPECT_EQ(A.Norm(NormType::MaxAbsValue), 12.0);
    EXPECT_NEAR(A.Norm(NormType::FrobeniusNorm), std::sqrt(174.0), 16 * 8 * kEps);
}

TEST(CMatrixReductions, NormsOfAllShapesAgreeWithPlainSums)
{
    std::mt19937_64 generator(1);
    for (const Shape& shape : allShapes()) {
        const CMatrix A = randomComplex(shape, generator);
        std::vector<long double> rows(static_cast<std::size_t>(shape.rows)),
            cols(static_cast<std::size_t>(shape.cols));
        long double squares = 0, largest = 0;
        for (int c = 0; c < shape.cols; ++c) {
            for (int r = 0; r < shape.rows; ++r) {
                const long double size = std::abs(Wide(A(r, c)));
                rows[static_cast<std::size_t>(r)] += size;
                cols[static_cast<std::size_t>(c)] += size;
                squares += size * size;
                largest = std::max(largest, size);
            }
        }
        const auto near = [&](double norm, long double expected) {
            EXPECT_LT(std::abs(norm - expected) / (expected * kEps * (shape.rows + shape.cols)),
                      kResidualLimit)
                << shape;
        };
        near(A.Norm(NormType::InfinityNorm), *std::max_element(rows.begin(), rows.end()));
        near(A.Norm(NormType::OneNorm), *std::max_element(cols.begin(), cols.end()));
        near(A.Norm(NormType::MaxAbsValue), largest);
        near(A.Norm(NormType::FrobeniusNorm), std::sqrt(squares));
    }
}

TEST(CMatrixReductions, NaNComesThroughEveryNormAndNoneOverflows)
{
    for (const int type : {0, 1, 2, 3}) {
        for (const Complex& nan : {Complex(kNaN, 0), Complex(0, kNaN)}) {
            EXPECT_TRUE(std::isnan((CMatrix{{1, nan}, {2, 3}}.Norm(static_cast<NormType>(type)))));
        }
        EXPECT_NEAR((CMatrix{{{0x1.8p1000, 0x1p1001}}}.Norm(static_cast<NormType>(type)) * 0x1p-1000), 2.5,
                    16 * kEps);
    }
}

TEST(CMatrixReductions, InfinityNormTakesAWorkBlockAndTheOthersTakeNone)
{
    const CMatrix A = countedComplex(4, 3);
    expectAllocations(1, A, [&] { A.Norm(NormType::InfinityNorm); });
    expectAllocations(0, A, [&] { A.Norm(NormType::OneNorm); });
    expectAllocations(0, A, [&] { A.Norm(NormType::FrobeniusNorm); });
    expectAllocations(0, A, [&] { A.Norm(NormType::MaxAbsValue); });
}

TEST(CMatrixReductions, SumsRunInOrderPartByPart)
{
    const Complex large(0x1p53, 1), one(1, 1);
    const CMatrix column{{large}, {one}, {one}}, row{{one, one, large}};
    EXPECT_EQ(column.ColSum(0), Complex(0x1p53, 3)); // both ones are lost
    EXPECT_EQ(row.RowSum(0), Complex(0x1p53 + 2, 3));
    EXPECT_EQ((CMatrix{{1, 2, 3}, {4, {5, 5}, 6}}.Trace()), Complex(6, 5));
    EXPECT_EQ((CMatrix{{1}, {2}, {3}}.Trace()), Complex(1));
    EXPECT_EQ(countedComplex(2, 3).RowSum(1), Complex(2 + 4 + 6, 20 + 40 + 60));
    EXPECT_EQ(countedComplex(2, 3).ColSum(1), Complex(3 + 4, 30 + 40));
}

TEST(CMatrixReductions, DotProductsConjugateNothing)
{
    const CMatrix A{{kI, 1, {1, 1}}, {2, kI, {0, 3}}};
    EXPECT_EQ(A.RowsDotProduct(0, 0), Complex(0, 2));
    EXPECT_EQ(A.RowsDotProduct(0, 1), Complex(-3, 6));
    EXPECT_EQ(A.ColsDotProduct(0, 1), Complex(0, 3));
    EXPECT_EQ(A.ColsDotProduct(0, 0), Complex(3));
    std::mt19937_64 generator(2);
    for (const Shape& shape : allShapes()) {
        const CMatrix B = randomComplex(shape, generator);
        Wide rows = 0, cols = 0;
        for (int j = 0; j < shape.cols; ++j) rows += Wide(B(0, j)) * Wide(B(shape.rows - 1, j));
        for (int i = 0; i < shape.rows; ++i) cols += Wide(B(i, 0)) * Wide(B(i, shape.cols - 1));
        EXPECT_LT(std::abs(Wide(B.RowsDotProduct(0, shape.rows - 1)) - rows),
                  4 * shape.cols * shape.cols * kEps);
        EXPECT_LT(std::abs(Wide(B.ColsDotProduct(0, shape.cols - 1)) - cols),
                  4 * shape.rows * shape.rows * kEps);
    }
}

// ---- normalization

using Normalized = void (CMatrix::*)(NormalizeMode);

TEST(CMatrixReductions, ColumnsAreNormalizedAsVectorsAre)
{
    std::mt19937_64 generator(3);
    for (const Shape& shape : allShapes()) {
        for (const NormalizeMode mode : kNormalizeModes) {
            const CMatrix before = randomComplex(shape, generator);
            CMatrix A = before;
            const std::intptr_t address = A.DataPtr();
            A.NormalizeCols(mode);
            EXPECT_EQ(A.DataPtr(), address);
            for (int c = 0; c < shape.cols; ++c) {
                CVector x = before.ColVector(c);
                x.Normalize(mode);
                double worst = 0.0;
                for (int r = 0; r < shape.rows; ++r) worst = std::max(worst, std::abs(A(r, c) - x[r]));
                EXPECT_LE(worst, shape.rows * 64 * kEps * x.Norm()) << shape;
            }
        }
    }
}

TEST(CMatrixReductions, RowsAreNormalizedAsTheColumnsOfTheTranspose)
{
    std::mt19937_64 generator(4);
    for (const Shape& shape : allShapes()) {
        for (const NormalizeMode mode : kNormalizeModes) {
            CMatrix A = randomComplex(shape, generator), At = applied(TransposeMode::Transposed, A);
            A.NormalizeRows(mode);
            At.NormalizeCols(mode); // no two parts of random cells are equal, so the order does not matter
            const CMatrix difference = A - applied(TransposeMode::Transposed, At);
            EXPECT_LE(difference.Norm(NormType::MaxAbsValue),
                      shape.cols * 64 * kEps * At.Norm(NormType::MaxAbsValue))
                << shape;
        }
    }
}

TEST(CMatrixReductions, MaximumOneDividesByTheSignedPartOfLargestMagnitude)
{
    CMatrix columns{{{1, 2}, 8}, {{-4, 1}, {0, 16}}};
    columns.NormalizeCols(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(columns), ElementsAre(Complex(-0.25, -0.5), Complex(1, -0.25), Complex(0.5), kI));
    CMatrix rows{{{1, 2}, {-4, 1}}, {8, {0, 16}}};
    rows.NormalizeRows(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(rows), ElementsAre(Complex(-0.25, -0.5), Complex(0.5), Complex(1, -0.25), kI));
    // of two real parts of one magnitude the first, in a row and in a column
    CMatrix tie{{{0, 1}, -2, 2}};
    tie.NormalizeRows(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(tie), ElementsAre(Complex(0, -0.5), Complex(1), Complex(-1)));
}

TEST(CMatrixReductions, ZeroLinesConstantLinesAndOtherModes)
{
    for (const Normalized normalize : {&CMatrix::NormalizeCols, &CMatrix::NormalizeRows}) {
        for (const NormalizeMode mode : kNormalizeModes) {
            CMatrix zeros(3, 4);
            (zeros.*normalize)(mode);
            EXPECT_THAT(blockOf(zeros), Each(Complex()));
        }
        CMatrix constant(2, 2);
        for (int r = 0; r < 2; ++r) constant.SetRow(r, Complex(3, -4));
        (constant.*normalize)(NormalizeMode::ZScores);
        EXPECT_THAT(blockOf(constant), Each(Complex()));
        for (const int mode : {-1, 3}) {
            CMatrix A = countedComplex(3, 4);
            (A.*normalize)(static_cast<NormalizeMode>(mode));
            EXPECT_EQ(A, countedComplex(3, 4));
        }
    }
    CMatrix column(3, 1);
    column.SetColumn(0, Complex(2, -3));
    column.NormalizeCols(NormalizeMode::ZScores);
    EXPECT_THAT(blockOf(column), Each(Complex()));
}

TEST(CMatrixReductions, NormalizationAllocatesNothingAndNaNSpoilsItsOwnLineAlone)
{
    for (const NormalizeMode mode : kNormalizeModes) {
        CMatrix A = countedComplex(3, 3), B = A;
        A(1, 1) = {1, kNaN};
        const FailingAllocator allocator(0);
        A.NormalizeCols(mode);
        B.NormalizeCols(mode);
        EXPECT_FALSE(allocator.hasFailed());
        for (int r = 0; r < 3; ++r) {
            EXPECT_EQ(A(r, 0), B(r, 0));
            EXPECT_EQ(A(r, 2), B(r, 2));
        }
        EXPECT_FALSE(A.IsFinite());
    }
}

TEST(CMatrixReductions, NaNSpoilsItsOwnRowAlone)
{
    for (const NormalizeMode mode : {NormalizeMode::ZScores, NormalizeMode::UnitLength}) {
        CMatrix A = countedComplex(3, 3), B = A;
        A(1, 1) = {1, kNaN};
        A.NormalizeRows(mode);
        B.NormalizeRows(mode);
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(A(0, c), B(0, c));
            EXPECT_FALSE(A(1, c) == A(1, c));
            EXPECT_EQ(A(2, c), B(2, c));
        }
    }
}

// ---- tests

TEST(CMatrixReductions, EachPairIsLookedAtForSymmetry)
{
    std::mt19937_64 generator(5);
    const CMatrix R = randomComplex({6, 6}, generator), S = R + R.Transpose(), H = R + R.Adjoint();
    EXPECT_TRUE(S.IsSymmetric(0.0) && H.IsHermitian(0.0));
    EXPECT_FALSE(S.IsHermitian() || H.IsSymmetric());
    for (int r = 0; r < 6; ++r) {
        for (int c = 0; c < 6; ++c) {
            for (const Complex& step : {Complex(1e-6), Complex(0, 1e-6)}) {
                CMatrix A = S, B = H;
                A(r, c) += step;
                B(r, c) += step;
                EXPECT_EQ(A.IsSymmetric(), r == c) << r << c;
                EXPECT_EQ(B.IsHermitian(), r == c) << r << c;
            }
        }
    }
    EXPECT_FALSE(CMatrix(2, 3).IsSymmetric());
    EXPECT_FALSE(CMatrix(3, 2).IsHermitian());
}

TEST(CMatrixReductions, SymmetryToleranceIsInclusiveAndUsedAsGiven)
{
    for (const Complex& step : {Complex(0.25), Complex(0, 0.25)}) {
        CMatrix A{{1, kI}, {kI, 1}}, B{{1, kI}, {-kI, 1}};
        A(1, 0) += step;
        B(1, 0) += step;
        EXPECT_TRUE(A.IsSymmetric(0.25) && B.IsHermitian(0.25));
        EXPECT_FALSE(A.IsSymmetric(0.24) || B.IsHermitian(0.24));
        EXPECT_FALSE(A.IsSymmetric() || B.IsHermitian());
        EXPECT_FALSE(A.IsSymmetric(-0.25) || B.IsHermitian(-0.25)); // no magnitude is taken
    }
    const double close = 0.9e-9, far = 1.1e-9;
    EXPECT_TRUE((CMatrix{{1, 0}, {close, 1}}.IsSymmetric()));
    EXPECT_FALSE((CMatrix{{1, 0}, {far, 1}}.IsSymmetric()));
    EXPECT_TRUE((CMatrix{{1, 0}, {{0, close}, 1}}.IsHermitian()));
    EXPECT_FALSE((CMatrix{{1, 0}, {{0, far}, 1}}.IsHermitian()));
    EXPECT_TRUE(CMatrix(1, 1, kI).IsSymmetric(-1.0) && CMatrix(1, 1, kI).IsHermitian(-1.0));
}

TEST(CMatrixReductions, ANaNDifferencePasses)
{
    for (const Complex& nan : {Complex(kNaN, 0), Complex(0, kNaN)}) {
        EXPECT_TRUE((CMatrix{{1, nan}, {0, 1}}.IsSymmetric()));
        EXPECT_TRUE((CMatrix{{1, nan}, {0, 1}}.IsHermitian()));
        EXPECT_TRUE((CMatrix{{1, nan}}.IsEqual(CMatrix{{1, 0}})));
    }
    for (const Complex& nan : {Complex(kNaN, 1), Complex(1, kNaN)}) { // the other part differs
        EXPECT_FALSE((CMatrix{{1, nan}, {0, 1}}.IsSymmetric()));
        EXPECT_FALSE((CMatrix{{1, 0}, {nan, 1}}.IsSymmetric()));
        EXPECT_FALSE((CMatrix{{1, 0}, {nan, 1}}.IsHermitian()));
        EXPECT_FALSE((CMatrix{{nan}}.IsEqual(CMatrix{{0}})));
        EXPECT_FALSE((CMatrix{{0}}.IsEqual(CMatrix{{nan}})));
    }
}

TEST(CMatrixReductions, IsEqualComparesBlocksAndNotShapes)
{
    const CMatrix A = countedComplex(2, 3), B = countedComplex(3, 2), larger = countedComplex(2, 4);
    EXPECT_TRUE(A.IsEqual(B));
    EXPECT_FALSE(A == B);
    EXPECT_TRUE(A.IsEqual(larger));
    if constexpr (detail::kHardened) {
        EXPECT_THAT([&] { larger.IsEqual(A); },
                    ThrowsMessage<InvalidOperationException>("The other matrix has fewer cells."));
    }
    for (int k = 0; k < 6; ++k) {
        for (const Complex& step : {Complex(0.25), Complex(0, 0.25)}) {
            CMatrix C = A;
            C(k % 2, k / 2) += step;
            EXPECT_TRUE(A.IsEqual(C, 0.25) && A.IsEqual(C, -0.25)); // the sign is ignored
            EXPECT_FALSE(A.IsEqual(C, 0.24) || A.IsEqual(C));
        }
    }
    EXPECT_TRUE((CMatrix{{0}}.IsEqual(CMatrix{{{0.9e-9, 0.9e-9}}})));
    EXPECT_FALSE((CMatrix{{0}}.IsEqual(CMatrix{{{0, 1.1e-9}}})));
}

TEST(CMatrixReductions, InfinityAndNaNAreToldApartInEitherPart)
{
    for (const Shape& shape : {Shape{1, 1}, Shape{3, 2}, Shape{17, 5}}) {
        for (int r = 0; r < shape.rows; ++r) {
            for (const bool inImaginary : {false, true}) {
                const auto with = [&](double value) {
                    CMatrix A = countedComplex(shape.rows, shape.cols);
                    A(r, shape.cols - 1) = inImaginary ? Complex(1, value) : Complex(value, 1);
                    return A;
                };
                EXPECT_TRUE(with(kInf).HasINFs() && !with(kInf).HasNaNs() && !with(kInf).IsFinite());
                EXPECT_TRUE(!with(kNaN).HasINFs() && with(kNaN).HasNaNs() && !with(kNaN).IsFinite());
                EXPECT_TRUE(!with(1).HasINFs() && !with(1).HasNaNs() && with(1).IsFinite());
            }
        }
    }
}

} // namespace
} // namespace Velmar::Lintrix
