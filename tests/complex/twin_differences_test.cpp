// Where the complex classes are no translation of the real ones. One test a difference, with both sides in
// it.

#include "tests/complex/complex_support.h"

#include <lintrix/foundation/archive.h>

#include <cmath>
#include <functional>
#include <type_traits>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr const char* kInvalidSize = "Invalid number of rows or columns.";
constexpr const char* kSizeMismatch = "Matrix sizes do not match.";
constexpr const char* kLengths = "Vectors are not of the same size.";
constexpr const char* kWrongC = "Incorrect size for matrix C.";

constexpr auto H = TransposeMode::ConjugateTransposed;

// ---- vectors

TEST(TwinDifferences, ClearOfAComplexVectorClearsHalfOfItsBlock)
{
    CVector z = countedComplex(4);
    z.Clear();
    EXPECT_THAT(blockOf(z), ElementsAre(Complex(), Complex(), Complex(3, 30), Complex(4, 40)));
    CVector odd = countedComplex(5);
    odd.Clear();
    EXPECT_THAT(blockOf(odd),
                ElementsAre(Complex(), Complex(), Complex(0, 30), Complex(4, 40), Complex(5, 50)));
    CVector one{{1, 2}};
    one.Clear();
    EXPECT_THAT(blockOf(one), ElementsAre(Complex(0, 2)));

    Vector x = counted(4);
    x.Clear();
    EXPECT_THAT(blockOf(x), Each(0.0));
    CMatrix A = countedComplex(2, 2);
    A.Clear();
    EXPECT_THAT(blockOf(A), Each(Complex()));
}

TEST(TwinDifferences, ResizeOfAComplexVectorReplacesTheBlockForTheSameLengthToo)
{
    CVector z = countedComplex(4);
    const auto complexBits = bitsOf(z);
    const std::intptr_t complexAddress = z.DataPtr();
    z.Resize(4);
    EXPECT_NE(z.DataPtr(), complexAddress);
    EXPECT_EQ(bitsOf(z), complexBits);
    const std::intptr_t replaced = z.DataPtr();
    z.Length(4);
    EXPECT_EQ(z.DataPtr(), replaced); // the setter looks

    Vector x = counted(4);
    const std::intptr_t realAddress = x.DataPtr();
    x.Resize(4);
    EXPECT_EQ(x.DataPtr(), realAddress);
    CMatrix A = countedComplex(2, 2);
    const std::intptr_t matrixAddress = A.DataPtr();
    A.Resize(2, 2);
    EXPECT_EQ(A.DataPtr(), matrixAddress);
}

TEST(TwinDifferences, ResizeToTheLengthOfAnEmptyVectorFailsForAComplexOne)
{
    CVector z(std::vector<Complex>{});
    EXPECT_THAT([&] { z.Resize(0); }, ThrowsMessage<InvalidSizeException>(kInvalidSize));
    EXPECT_NO_THROW(z.Length(0));
    Vector x(std::vector<double>{});
    EXPECT_NO_THROW(x.Resize(0));
}

TEST(TwinDifferences, BytesWrittenToAComplexVectorAlwaysReplaceItsBlock)
{
    CVector z = countedComplex(2);
    const std::intptr_t complexAddress = z.DataPtr();
    z.Data(CVector{5, 6}.Data());
    EXPECT_NE(z.DataPtr(), complexAddress);
    CVector empty(std::vector<Complex>{});
    EXPECT_THAT([&] { empty.Data(empty.Data()); }, ThrowsMessage<InvalidSizeException>(kInvalidSize));

    Vector x = counted(2);
    const std::intptr_t realAddress = x.DataPtr();
    x.Data(Vector{5, 6}.Data());
    EXPECT_EQ(x.DataPtr(), realAddress);
    Vector emptyReal(std::vector<double>{});
    EXPECT_NO_THROW(emptyReal.Data(emptyReal.Data()));
}

TEST(TwinDifferences, SumOfComplexVectorsComparesTheLengthsBeforeItAllocates)
{
    const CVector z = countedComplex(2), w = countedComplex(3);
    expectRefusedUnallocated<SizeMismatchException>(kLengths, [&] { z + w; });
    expectRefusedUnallocated<SizeMismatchException>(kLengths, [&] { CVector::Add(z, w); });
    const Vector x = counted(2), y = counted(3);
    expectRefusedAfterAllocation<SizeMismatchException>(kLengths, [&] { x + y; });
}

TEST(TwinDifferences, DotProductConjugatesNothingAndNormDoes)
{
    EXPECT_EQ(CVector{kI}.DotProduct(CVector{kI}), Complex(-1));
    EXPECT_EQ(CVector{kI}.Norm(), 1.0);
    EXPECT_EQ(Vector{-1}.DotProduct(Vector{-1}), 1.0);
}

TEST(TwinDifferences, AbsSumOfAComplexVectorAddsPartsAndNotModuli)
{
    EXPECT_EQ((CVector{{3, 4}}.AbsSum()), 7.0);
    EXPECT_EQ((CVector{{3, 4}}.Norm()), 5.0);
    EXPECT_EQ(Vector{-3}.AbsSum(), 3.0);
}

TEST(TwinDifferences, MaximumOneOfAComplexVectorDividesAndOfARealOneMultiplies)
{
    CVector z{{1, 2}, {-4, 1}};
    z.Normalize(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(z), ElementsAre(Complex(-0.25, -0.5), Complex(1, -0.25)));
    Vector x{2, 4};
    x.Normalize(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(x), ElementsAre(8, 16));
}

TEST(TwinDifferences, UnitLengthOfAComplexVectorIsUnconjugated)
{
    CVector imaginary{{0, 2}};
    imaginary.Normalize(NormalizeMode::UnitLength);
    EXPECT_THAT(blockOf(imaginary), ElementsAre(Complex(1, 0)));
    CVector isotropic{1, kI};
    const auto bits = bitsOf(isotropic);
    isotropic.Normalize(NormalizeMode::UnitLength);
    EXPECT_EQ(bitsOf(isotropic), bits); // the sum of squares is 0, though the norm is not
    Vector x{-3, 4};
    x.Normalize(NormalizeMode::UnitLength);
    EXPECT_NEAR(x.Norm(), 1.0, 4 * kEps);
}

TEST(TwinDifferences, ZScoresOfAComplexVectorScaleByAllCellsAndOfARealOneByTheLast)
{
    CVector z{1, 3, 2}; // centred -1, 1, 0: the squares sum to 2
    z.Normalize(NormalizeMode::ZScores);
    EXPECT_NEAR(z[0].real(), -std::sqrt(0.5), 4 * kEps);
    EXPECT_NEAR(z[1].real(), std::sqrt(0.5), 4 * kEps);
    EXPECT_EQ(z[2], Complex());
    Vector x{1, 3, 2};
    x.Normalize(NormalizeMode::ZScores);
    EXPECT_THAT(blockOf(x), ElementsAre(-1, 1, 0));
}

TEST(TwinDifferences, FillOfAComplexVectorDrawsTwoNumbersAnElement)
{
    const auto values = valuesFromTheStart(8, 1.0, 5.0, 3);
    CVector z(4);
    z.FillRandom(1.0, 5.0, 3);
    EXPECT_EQ(partsIn(z), values);
    EXPECT_EQ(valuesFromTheStart(8, 1.0, 5.0, 3), values);
    Vector x(4);
    x.FillRandom(1.0, 5.0, 3);
    EXPECT_EQ(blockOf(x), std::vector<double>(values.begin(), values.begin() + 4));
}

TEST(TwinDifferences, DivisionByAScalarZeroIsRefusedByMatricesAlone)
{
    EXPECT_FALSE((CVector{1} / Complex()).IsFinite());
    EXPECT_FALSE((Vector{1} / 0.0).IsFinite());
    EXPECT_THAT([] { CMatrix(2, 2, 1.0) / Complex(0.0, -0.0); },
                ThrowsMessage<ArgumentException>("Division by zero error"));
    EXPECT_THAT([] { Matrix(2, 2, 1.0) / -0.0; }, ThrowsMessage<ArgumentException>("Division by zero error"));
}

// ---- what one twin has and the other has not

template <class T>
concept TurnsIntoCMatrix = requires(const T& x)
{
    x.ToCMatrix();
};
template <class T>
concept TurnsIntoMatrix = requires(const T& x)
{
    x.ToMatrix();
};
template <class T>
concept HasParts = requires(const T& x)
{
    x.Real();
    x.Imag();
};
template <class T>
concept HasAdjoint = requires(const T& x)
{
    x.Adjoint();
    x.Conjugate();
    x.IsHermitian();
    x.IsHermitian(0.5);
};
template <class T>
concept Sorts = requires(T& x)
{
    x.SortRows();
    x.SortCols();
};
template <class T>
concept HasStatistics = requires(const T& x)
{
    x.CorrelationMatrix();
    x.CovarianceMatrix();
    x.ColCorrelation(0, 0);
    x.ColCovariance(0, 0);
};
template <class T>
concept SortsOrCorrelates = requires(T& x)
{
    x.SortRows();
}
|| requires(T& x)
{
    x.SortCols();
}
|| requires(T& x)
{
    x.CorrelationMatrix();
}
|| requires(T& x)
{
    x.CovarianceMatrix();
}
|| requires(T& x)
{
    x.ColCorrelation(0, 0);
}
|| requires(T& x)
{
    x.ColCovariance(0, 0);
};
template <class Left, class Right>
concept Multiply = requires(const Left& x, const Right& y)
{
    x* y;
};
template <class Left, class Right>
concept AddUp = requires(const Left& x, const Right& y)
{
    x + y;
};
template <class T>
concept HasUnary = requires(const T& x)
{
    -x;
}
|| requires(const T& x)
{
    +x;
};
template <class T, class Scalar>
concept AddsScalarFirst = requires(Scalar alpha, const T& x)
{
    T::Add(alpha, x);
};
template <class T, class Scalar>
concept MultipliesScalarFirst = requires(Scalar alpha, const T& x)
{
    T::Multiply(alpha, x);
};

TEST(TwinDifferences, MembersOfOneTwinAlone)
{
    static_assert(TurnsIntoCMatrix<CVector> && !TurnsIntoMatrix<CVector>);
    static_assert(TurnsIntoMatrix<Vector> && !TurnsIntoCMatrix<Vector>);
    static_assert(TurnsIntoCMatrix<Matrix> && !TurnsIntoCMatrix<CMatrix>);
    static_assert(HasParts<CMatrix> && HasParts<CVector> && !HasParts<Matrix> && !HasParts<Vector>);
    static_assert(HasAdjoint<CMatrix> && !HasAdjoint<Matrix>);
    static_assert(Sorts<Matrix> && HasStatistics<Matrix> && !SortsOrCorrelates<CMatrix>);
}

TEST(TwinDifferences, ARealMatrixStandsOnTheRightOfAProductAlone)
{
    static_assert(Multiply<CMatrix, Matrix> && !Multiply<Matrix, CMatrix>);
    static_assert(!AddUp<CMatrix, Matrix> && !AddUp<Matrix, CMatrix>);
    static_assert(!std::is_convertible_v<Matrix, CMatrix> && !std::is_convertible_v<CMatrix, Matrix>);
    static_assert(!std::is_constructible_v<CVector, Vector> && !std::is_constructible_v<Vector, CVector>);
    static_assert(!AddUp<CVector, Vector> && !AddUp<Vector, CVector> && !Multiply<CVector, Vector>);
    static_assert(!HasUnary<CVector> && !HasUnary<Vector> && HasUnary<CMatrix> && HasUnary<Matrix>);
    static_assert(!AddsScalarFirst<CVector, Complex> && !MultipliesScalarFirst<CVector, Complex>);
    static_assert(std::is_convertible_v<CVector, CMatrix> && std::is_convertible_v<Vector, Matrix>);
}

// ---- products with a vector

TEST(TwinDifferences, FourProductsWithAVectorHaveTwoLengthsForAComplexMatrix)
{
    const CMatrix A = countedComplex(2, 3);
    const CVector two = countedComplex(2), three = countedComplex(3);
    EXPECT_EQ((A * three).Length(), 2);
    EXPECT_EQ(CMatrix::Multiply(two, A).Length(), 3);
    EXPECT_EQ(A.Times(three).Rows(), 2);
    for (const CVector& x : {two, three}) {
        expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { CMatrix::Multiply(A, x); });
        expectRefusedAfterAllocation<SizeMismatchException>(kSizeMismatch, [&] { x* A; });
    }
    const CMatrix square = countedComplex(3, 3);
    EXPECT_EQ(CMatrix::Multiply(square, three), square * three);
    EXPECT_EQ(three * square, CMatrix::Multiply(three, square));

    const Matrix R = counted(2, 3);
    EXPECT_EQ((R * counted(3)).Length(), 2);
    EXPECT_EQ(Matrix::Multiply(R, counted(3)).Length(), 2);
    EXPECT_EQ((counted(2) * R).Length(), 3);
    EXPECT_EQ(Matrix::Multiply(counted(2), R).Length(), 3);
}

TEST(TwinDifferences, RowVectorsTimesAComplexMatrixAreNotConjugated)
{
    const CMatrix A{{kI, 1}, {0, 2}};
    const CVector x{1, kI};
    EXPECT_THAT(blockOf(x * A), ElementsAre(kI, Complex(1, 2)));
    EXPECT_THAT(blockOf(CMatrix::Multiply(x, A)), ElementsAre(kI, Complex(1, 2)));
}

TEST(TwinDifferences, ConjugateTransposedConjugatesForAVectorInTheComplexClass)
{
    const CMatrix A{{kI, 1}, {0, 2}};
    CVector y(2);
    CMatrix::Multiply(1.0, H, A, CVector{1, 1}, 0.0, y);
    EXPECT_THAT(blockOf(y), ElementsAre(-kI, Complex(3)));
    CMatrix::Multiply(1.0, TransposeMode::Transposed, A, CVector{1, 1}, 0.0, y);
    EXPECT_THAT(blockOf(y), ElementsAre(kI, Complex(3)));

    const Matrix R{{5, 1}, {0, 2}};
    Vector conjugated(2), transposed(2);
    Matrix::Multiply(1.0, H, R, {1, 1}, 0.0, conjugated);
    Matrix::Multiply(1.0, TransposeMode::Transposed, R, {1, 1}, 0.0, transposed);
    EXPECT_TRUE(identical(conjugated, transposed));
}

TEST(TwinDifferences, AddendOfAnotherShapeIsRefusedByTheComplexProductAndCutByTheReal)
{
    const CMatrix A = countedComplex(2, 2), B = countedComplex(2, 3), C = countedComplex(3, 3);
    EXPECT_THAT([&] { CMatrix::Multiply(1.0, A, B, 1.0, C); }, ThrowsMessage<SizeMismatchException>(kWrongC));
    EXPECT_THAT([&] { CMatrix::Multiply(1.0, A, C, 1.0, C); },
                ThrowsMessage<SizeMismatchException>(kSizeMismatch));
    const Matrix R = Matrix::Multiply(1.0, counted(2, 2), counted(2, 3), 1.0, counted(3, 3));
    EXPECT_EQ(R.Rows(), 2);
    EXPECT_EQ(R.Cols(), 3);
}

// ---- matrices

TEST(TwinDifferences, IsFiniteOfAComplexMatrixSaysWhatItsNameSays)
{
    CMatrix A = countedComplex(2, 2);
    EXPECT_TRUE(A.IsFinite());
    EXPECT_FALSE(counted(2, 2).IsFinite());
    for (const Complex& bad : {Complex(kNaN, 0), Complex(0, kNaN), Complex(kInf, 0), Complex(0, -kInf)}) {
        A(1, 1) = bad;
        EXPECT_FALSE(A.IsFinite()) << bad;
    }
    EXPECT_TRUE(Matrix(2, 2, kNaN).IsFinite());
}

TEST(TwinDifferences, OnlyAComplexMatrixCanBeEmptied)
{
    CMatrix A = countedComplex(1, 3), B = countedComplex(3, 1);
    A.DeleteRow(0);
    EXPECT_EQ(A.Rows(), 0);
    EXPECT_EQ(A.Cols(), 3);
    B.DeleteColumn(0);
    EXPECT_EQ(B.Rows(), 3);
    EXPECT_EQ(B.Cols(), 0);
    constexpr const char* text = "Row or column index exceeds matrix size.";
    EXPECT_THAT([] { counted(1, 3).DeleteRow(0); }, ThrowsMessage<IndexOutOfBoundsException>(text));
    EXPECT_THAT([] { counted(3, 1).DeleteColumn(0); }, ThrowsMessage<IndexOutOfBoundsException>(text));
}

TEST(TwinDifferences, ZScoresLeaveAComplexColumnOfLengthOneAndARealOneOfDeviationOne)
{
    CMatrix A{{1}, {2}, {3}};
    A.NormalizeCols(NormalizeMode::ZScores);
    EXPECT_NEAR(A(2, 0).real(), std::sqrt(0.5), 4 * kEps);
    CMatrix row{{1, 2, 3}};
    row.NormalizeRows(NormalizeMode::ZScores);
    EXPECT_NEAR(row(0, 0).real(), -std::sqrt(0.5), 4 * kEps);
    Matrix R{{1}, {2}, {3}};
    R.NormalizeCols(NormalizeMode::ZScores);
    EXPECT_NEAR(R(2, 0), std::sqrt(1.5), 4 * kEps);
}

TEST(TwinDifferences, UnitLengthOfAComplexLineIsUnconjugated)
{
    CMatrix A{{{0, 2}, 1}, {0, kI}};
    A.NormalizeCols(NormalizeMode::UnitLength);
    EXPECT_THAT(blockOf(A), ElementsAre(Complex(1), Complex(), Complex(1), kI));
    CMatrix B{{{0, 2}, 0}, {1, kI}};
    B.NormalizeRows(NormalizeMode::UnitLength);
    EXPECT_THAT(blockOf(B), ElementsAre(Complex(1), Complex(1), Complex(), kI));
    Matrix R{{3, 4}};
    R.NormalizeRows(NormalizeMode::UnitLength);
    EXPECT_NEAR(R(0, 0), 0.6, 4 * kEps);
}

TEST(TwinDifferences, MaximumOneOfAComplexRowPrefersARealPartAndOfAColumnTheFirst)
{
    CMatrix column{{{0, -2}}, {{2, 1}}};
    column.NormalizeCols(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(column), ElementsAre(Complex(0, 1), Complex(-1, -0.5)));
    CMatrix row{{{0, -2}, {2, 1}}};
    row.NormalizeRows(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(row), ElementsAre(Complex(0, -1), Complex(1, 0.5)));
    Matrix R{{-2, 2}};
    R.NormalizeRows(NormalizeMode::MaximumOne);
    EXPECT_THAT(blockOf(R), ElementsAre(1, -1));
}

TEST(TwinDifferences, FillOfAComplexMatrixDrawsTwoNumbersACell)
{
    const auto values = valuesFromTheStart(12, -1.0, 1.0, 2);
    CMatrix A(2, 3);
    A.FillRandom(-1.0, 1.0, 2);
    EXPECT_EQ(partsIn(A), values);
    EXPECT_EQ(valuesFromTheStart(12, -1.0, 1.0, 2), values);
    Matrix R(2, 3);
    R.FillRandom(-1.0, 1.0, 2);
    EXPECT_EQ(blockOf(R), std::vector<double>(values.begin(), values.begin() + 6));
}

TEST(TwinDifferences, ArchiveOfComplexCellsHoldsTheirPartsInTurn)
{
    EXPECT_THAT(ToArchive(CVector{{1, 2}, {3, 4}}).GetDoubleArray("Data"), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(ToArchive(CMatrix{{{1, 2}, {3, 4}}}).GetDoubleArray("Data"), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(ToArchive(Vector{1, 3}).GetDoubleArray("Data"), ElementsAre(1, 3));
}

TEST(TwinDifferences, IsSymmetricConjugatesNothingAndIsHermitianDoes)
{
    const CMatrix symmetric{{1, {2, 3}}, {{2, 3}, 4}}, hermitian{{1, {2, 3}}, {{2, -3}, 4}};
    EXPECT_TRUE(symmetric.IsSymmetric());
    EXPECT_FALSE(symmetric.IsHermitian());
    EXPECT_FALSE(hermitian.IsSymmetric());
    EXPECT_TRUE(hermitian.IsHermitian());
    EXPECT_TRUE((CMatrix{{{1, 5}}}.IsHermitian())); // the diagonal is not looked at
    EXPECT_TRUE((Matrix{{1, 2}, {2, 4}}.IsSymmetric()));
}

} // namespace
} // namespace Velmar::Lintrix
