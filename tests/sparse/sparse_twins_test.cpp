// Where CSparseMatrix is no translation of SparseMatrix. One test a difference, with both sides in it; and
// what neither twin does otherwise, told for both at once.

#include "tests/complex/complex_support.h"
#include "tests/sparse/sparse_support.h"
#include "tests/sparse/sparse_twin.h"

#include <lintrix/foundation/archive.h>
#include <lintrix/services/hardening.h>

#include <any>
#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto N = TransposeMode::NotTransposed;
constexpr auto T = TransposeMode::Transposed;
constexpr auto H = TransposeMode::ConjugateTransposed;
constexpr const char* kBeforeFirst = "The enumerator is positioned before the first element of the matrix.";
constexpr float kNoFactor = std::numeric_limits<float>::quiet_NaN();

template <class Array>
auto listOf(Array array)
{
    return std::vector<std::remove_const_t<typename Array::element_type>>(array.begin(), array.end());
}

/// 2 x 2, the flag set: diagonal `first` and 4, `corner` above it.
CSparseMatrix hermitian(Complex first, Complex corner)
{
    CSparseMatrix A(2, true);
    A(0, 0) = first;
    A(0, 1) = corner;
    A(1, 1) = 4.0;
    return A;
}
SparseMatrix symmetric(double first, double corner)
{
    SparseMatrix A(2, true);
    A(0, 0) = first;
    A(0, 1) = corner;
    A(1, 1) = 4.0;
    return A;
}

// ---- members of one side alone

template <class A>
concept HasSymmetric = requires(A& x)
{
    x.Symmetric();
}
|| requires(A& x)
{
    x.Symmetric(true);
};
template <class A>
concept HasHermitian = requires(A& x)
{
    {
        x.Hermitian()
        } -> std::same_as<bool>;
    x.Hermitian(true);
};
template <class A>
concept HasAnyHermitian = requires(A& x)
{
    x.Hermitian();
}
|| requires(A& x)
{
    x.Hermitian(true);
};
template <class A>
concept HasPlus = requires(const A& x)
{
    A::Plus(x);
}
|| requires(const A& x)
{
    x.Plus();
};
template <class A>
concept HasIsSymmetricInt = requires(const A& x)
{
    x.IsSymmetricInt();
}
|| requires(const A& x)
{
    x.IsSymmetricInt;
};
template <class A, class B>
concept AddUp = requires(const A& x, const B& y)
{
    x + y;
};
template <class A, class B>
concept Multiply = requires(const A& x, const B& y)
{
    x* y;
};

TEST(SparseTwins, MembersOfOneTwinAlone)
{
    static_assert(HasSymmetric<SparseMatrix> && !HasSymmetric<CSparseMatrix>);
    static_assert(HasHermitian<CSparseMatrix> && !HasAnyHermitian<SparseMatrix>);
    static_assert(HasPlus<SparseMatrix> && !HasPlus<CSparseMatrix>);
    static_assert(!HasIsSymmetricInt<SparseMatrix> && !HasIsSymmetricInt<CSparseMatrix>);
}

TEST(SparseTwins, CapabilitiesAreTheSame)
{
    static_assert(Disposable<CSparseMatrix> && Cloneable<CSparseMatrix> && Serializable<CSparseMatrix>);
    static_assert(std::is_nothrow_move_constructible_v<CSparseMatrix>);
    static_assert(!std::is_final_v<CSparseMatrix> && !std::is_final_v<SparseMatrix>);
}

TEST(SparseTwins, NothingTurnsIntoTheOtherTwin)
{
    static_assert(!std::is_constructible_v<CSparseMatrix, SparseMatrix>);
    static_assert(!std::is_constructible_v<SparseMatrix, CSparseMatrix>);
    static_assert(!std::is_constructible_v<CSparseMatrix, Matrix>);
    static_assert(!std::is_constructible_v<SparseMatrix, CMatrix>);
    static_assert(!std::is_convertible_v<CMatrix, CSparseMatrix>);
    static_assert(!AddUp<CSparseMatrix, SparseMatrix> && !AddUp<SparseMatrix, CSparseMatrix>);
    static_assert(!Multiply<CSparseMatrix, SparseMatrix> && !Multiply<SparseMatrix, CSparseMatrix>);
}

TEST(SparseTwins, TheFlagIsStoredAndReadAndChangesNothing)
{
    CSparseMatrix A({{1, 2}, {3, 4}}, {0, 1, 2}, {1, 0});
    EXPECT_FALSE(A.Hermitian());
    A.Hermitian(true);
    EXPECT_TRUE(A.Hermitian());
    EXPECT_THAT(listOf(A.Values()), ElementsAre(Complex(1, 2), Complex(3, 4)));
    EXPECT_THAT(listOf(A.ColumnIndices()), ElementsAre(2, 1));
    A.Hermitian(false);
    EXPECT_FALSE(A.Hermitian());
}

// ---- storage and assembly

TEST(SparseTwins, TheMatrixWithoutArgumentsKeepsItsGrowFactorInTheComplexClass)
{
    EXPECT_EQ(CSparseMatrix().GrowFactor(), 1.2F);
    EXPECT_EQ(SparseMatrix().GrowFactor(), 1.0F);
    const CSparseMatrix A;
    EXPECT_EQ(A.Rows(), 1);
    EXPECT_EQ(A.Cols(), 1);
    EXPECT_EQ(A.Capacity(), 1);
    EXPECT_EQ(A.NumElements(), 0);
    EXPECT_FALSE(A.Hermitian());
}

TEST(SparseTwins, AMatrixFromADenseOneTakesNoScratchInTheComplexClass)
{
    const CMatrix complex{{1, 0}, {kI, 3}};
    const Matrix real{{1, 0}, {2, 3}};
    const auto nothing = [] { return true; };
    EXPECT_EQ(failEachAllocation([&] { CSparseMatrix A(complex); }, nothing), 3);
    EXPECT_EQ(failEachAllocation([&] { SparseMatrix A(real); }, nothing), 4);
}

TEST(SparseTwins, EitherPartOfADenseCellMakesAnElement)
{
    const CMatrix dense{{{0, 0}, {0, 1}, {-0.0, -0.0}, {1, 0}},
                        {{kNaN, 0}, {0, kNaN}, {0, -0.0}, {0, 5e-324}}};
    const CSparseMatrix A(dense);
    EXPECT_THAT(listOf(A.RowPointers()), ElementsAre(1, 3, 6));
    EXPECT_THAT(listOf(A.ColumnIndices()), ElementsAre(2, 4, 1, 2, 4));
    EXPECT_EQ(A(0, 1), kI);
    EXPECT_TRUE(std::isnan(A(1, 0).real()) && std::isnan(A(1, 1).imag()));
    EXPECT_EQ(A.Capacity(), 5);
    EXPECT_EQ(A.GrowFactor(), 0.0F);
    EXPECT_FALSE(A.Hermitian());
}

TEST(SparseTwins, ADenseMatrixWithoutRowsIsTakenByTheComplexClass)
{
    CMatrix noRows{{1, kI}}, noCols{{1}, {kI}};
    noRows.DeleteRow(0);
    noCols.DeleteColumn(0);
    const CSparseMatrix A(noRows), B(noCols);
    EXPECT_EQ(A.Rows(), 0);
    EXPECT_EQ(A.Cols(), 2);
    EXPECT_EQ(A.NumElements(), 0);
    EXPECT_THAT(listOf(A.RowPointers()), ElementsAre(1));
    EXPECT_EQ(B.Rows(), 2);
    EXPECT_EQ(B.Cols(), 0);
    EXPECT_THAT(listOf(B.RowPointers()), ElementsAre(1, 1, 1));
    // A real matrix is never without rows: there is nothing to take.
    EXPECT_THROW((Matrix{{1, 2}}.DeleteRow(0)), IndexOutOfBoundsException);
}

TEST(SparseTwins, TheCopyOfAHermitianMatrixIsNotHermitian)
{
    const CSparseMatrix A = hermitian(1.0, {2, 3});
    for (const CSparseMatrix& copy :
         {CSparseMatrix(A), A.Clone(), +A, std::any_cast<CSparseMatrix>(A.CloneableClone())}) {
        EXPECT_FALSE(copy.Hermitian());
        EXPECT_EQ(copy(1, 0), Complex());
        EXPECT_EQ(copy(0, 1), Complex(2, 3));
        EXPECT_EQ(copy.Capacity(), A.Capacity());
    }
    CSparseMatrix assigned(3, true);
    assigned = A;
    EXPECT_FALSE(assigned.Hermitian());
    CSparseMatrix source = A;
    source.Hermitian(true);
    EXPECT_TRUE(CSparseMatrix(std::move(source)).Hermitian()) << "what is moved is no copy";

    const SparseMatrix S = symmetric(1.0, 2.0);
    EXPECT_TRUE(SparseMatrix(S).Symmetric());
    EXPECT_TRUE(S.Clone().Symmetric());
    EXPECT_EQ(S.Clone()(1, 0), 2.0);
}

TEST(SparseTwins, TheCopyOfAComplexMatrixHasAClampedGrowFactor)
{
    const CSparseMatrix exact(CMatrix{{1, kI}});
    EXPECT_EQ(exact.GrowFactor(), 0.0F);
    EXPECT_EQ(exact.Clone().GrowFactor(), 1.0F);
    EXPECT_EQ(CSparseMatrix(2, 2, 9, 3.5F).Clone().GrowFactor(), 3.5F);
    EXPECT_TRUE(std::isnan(CSparseMatrix(2, 2, 9, kNoFactor).Clone().GrowFactor()));
    EXPECT_EQ(SparseMatrix(Matrix{{1, 2}}).Clone().GrowFactor(), 0.0F);
}

TEST(SparseTwins, ToDenseConjugatesTheMirrorImage)
{
    const CMatrix dense = hermitian({1, 7}, {2, 3}).ToDense();
    EXPECT_EQ(dense(0, 0), Complex(1, 7)) << "the diagonal is not made real";
    EXPECT_EQ(dense(0, 1), Complex(2, 3));
    EXPECT_EQ(dense(1, 0), Complex(2, -3));
    EXPECT_TRUE(identical(symmetric(1, 2).ToDense(), Matrix{{1, 2}, {2, 4}}));
}

TEST(SparseTwins, AFreshFlaggedMatrixStoresItsDiagonalOfZeros)
{
    const CSparseMatrix A(4, true);
    EXPECT_TRUE(A.Hermitian());
    EXPECT_EQ(A.Capacity(), 100);
    EXPECT_THAT(listOf(A.RowPointers()), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(listOf(A.ColumnIndices()), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(listOf(A.Values()), ::testing::Each(Complex()));
}

TEST(SparseTwins, TheKeyOfTheFlagInTheArchive)
{
    const SerializationInfo info = ToArchive(hermitian(1.0, kI)), real = ToArchive(symmetric(1, 2));
    EXPECT_TRUE(info.GetBoolean("herm"));
    EXPECT_FALSE(info.Contains("symm"));
    EXPECT_TRUE(real.GetBoolean("symm"));
    EXPECT_FALSE(real.Contains("herm"));
    EXPECT_TRUE(FromArchive<CSparseMatrix>(info).Hermitian());
    EXPECT_THROW(FromArchive<CSparseMatrix>(real), SerializationException);
    EXPECT_THROW(FromArchive<SparseMatrix>(info), SerializationException);
}

TEST(SparseTwins, TheArchiveHoldsThePartsOfComplexValuesInTurn)
{
    const CSparseMatrix A({{1, 2}, {3, 4}}, {0, 1, 2}, {1, 0});
    EXPECT_THAT(listOf(ToArchive(A).GetDoubleArray("_A")), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(listOf(ToArchive(A).GetInt32Array("_JA")), ElementsAre(2, 1));
    const SparseMatrix R({1, 3}, {0, 1, 2}, {1, 0});
    EXPECT_THAT(listOf(ToArchive(R).GetDoubleArray("_A")), ElementsAre(1, 3));
}

TEST(SparseTwins, AComplexValueTakesSixteenBytesOfTheByteForm)
{
    const CSparseMatrix A({{1, 2}, {3, 4}, {5, 6}}, {0, 2, 3}, {0, 4, 1});
    const std::vector<std::byte> data = A.Data();
    ASSERT_EQ(data.size(), 4u * (5 * 3 + 2 + 3));
    const auto integer = [&](std::size_t offset) {
        std::int32_t value = 0;
        std::memcpy(&value, &data[offset], 4);
        return value;
    };
    const auto number = [&](std::size_t offset) {
        double value = 0;
        std::memcpy(&value, &data[offset], 8);
        return value;
    };
    EXPECT_EQ(integer(0), 2);
    EXPECT_EQ(integer(4), 5);
    EXPECT_EQ(integer(8), 1);
    EXPECT_EQ(integer(12), 3);
    EXPECT_EQ(integer(16), 4);
    for (std::size_t k = 0; k < 6; ++k) EXPECT_EQ(number(4 * (2 + 3) + 8 * k), static_cast<double>(k + 1));
    EXPECT_EQ(integer(4 * (2 + 3) + 16 * 3), 1);
    EXPECT_EQ(integer(4 * (2 + 3) + 16 * 3 + 4), 5);
    EXPECT_EQ(integer(4 * (2 + 3) + 16 * 3 + 8), 2);
    EXPECT_EQ(SparseMatrix({1, 3, 5}, {0, 2, 3}, {0, 4, 1}).Data().size(), 4u * (3 * 3 + 2 + 3));
}

// ---- access

TEST(SparseTwins, AnAccessBelowTheDiagonalConjugatesBothWays)
{
    CSparseMatrix A(2, true);
    A.Item(1, 0, {1, 2});
    EXPECT_THAT(listOf(A.Values()), ElementsAre(Complex(), Complex(1, -2), Complex()));
    EXPECT_EQ(A.Item(0, 1), Complex(1, -2));
    EXPECT_EQ(A.Item(1, 0), Complex(1, 2));
    A(1, 0) = Complex(3, 4);
    EXPECT_EQ(std::as_const(A)(0, 1), Complex(3, -4));
    A(0, 0) = Complex(5, 6);
    EXPECT_EQ(A.Item(0, 0), Complex(5, 6)) << "the diagonal is its own mirror image, and not conjugated";

    SparseMatrix S(2, true);
    S.Item(1, 0, -2.0);
    EXPECT_THAT(listOf(S.Values()), ElementsAre(0.0, -2.0, 0.0));
    EXPECT_EQ(S.Item(1, 0), -2.0);
}

TEST(SparseTwins, AnElementReferenceReadsAndWritesThroughTheMirror)
{
    CSparseMatrix A(2, true);
    A(1, 0) += Complex(1, 2);
    A(1, 0) *= kI; // -2 + i
    EXPECT_EQ(A.Item(0, 1), Complex(-2, -1));
    A(0, 1) = A(1, 0);
    EXPECT_EQ(A.Item(0, 1), Complex(-2, 1));
    EXPECT_EQ(A.Item(1, 0), Complex(-2, -1));
}

TEST(SparseTwins, AnAbsentElementReadsAsComplexZero)
{
    const CSparseMatrix A(2, 2), B(2, true);
    for (const CSparseMatrix* M : {&A, &B}) {
        EXPECT_EQ(M->Item(0, 1), Complex());
        EXPECT_FALSE(std::signbit(M->Item(0, 1).real()) || std::signbit(M->Item(0, 1).imag()));
    }
    EXPECT_EQ(B.Item(1, 0), Complex());
    EXPECT_EQ(SparseMatrix(2, 2).Item(0, 1), 0.0);
}

template <class Sparse>
std::vector<std::int32_t> capacitiesOfAGrowing(Sparse A, int insertions)
{
    std::vector<std::int32_t> capacities;
    for (int c = 0; A.NumElements() < A.Capacity(); ++c) A(0, c) = 1.0;
    for (int k = 0; k < insertions; ++k) {
        A(0, A.NumElements()) = 1.0;
        capacities.push_back(A.Capacity());
    }
    return capacities;
}

TEST(SparseTwins, FullComplexArraysGrowByOneSlotAndRealOnesByTheirFactor)
{
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(1, 200), 2), ElementsAre(101, 102));
    EXPECT_THAT(capacitiesOfAGrowing(SparseMatrix(1, 200), 2), ElementsAre(120, 120));
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(1, 200, 10, 4.0F), 2), ElementsAre(11, 12));
    EXPECT_THAT(capacitiesOfAGrowing(SparseMatrix(1, 200, 10, 4.0F), 2), ElementsAre(40, 40));
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(1, 200, 3, 1.2F), 2), ElementsAre(4, 5));
}

TEST(SparseTwins, TheElementBehindAHundredMakesRoomForOneOrForTwenty)
{
    const auto capacityBehindAHundred = [](auto A) {
        for (int k = 0; k < 100; ++k) A(k / 10, k % 10) = 1.0;
        EXPECT_EQ(A.Capacity(), 100);
        A.Cols(11);
        A(0, 10) = 1.0;
        EXPECT_EQ(A.NumElements(), 101);
        return A.Capacity();
    };
    EXPECT_EQ(capacityBehindAHundred(CSparseMatrix(10, 10)), 101);
    EXPECT_EQ(capacityBehindAHundred(SparseMatrix(10, 10)), 120);
}

// Where the factor leads to no more than there is: one slot, as everywhere else.
TEST(SparseTwins, FullComplexArraysGrowWhereTheirFactorWouldKeepOrCutThem)
{
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(1, 9, 1, 1.2F), 3), ElementsAre(2, 3, 4));
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(1, 9, 2, 1.2F), 2), ElementsAre(3, 4));
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(1, 9, 5, 1.0F), 2), ElementsAre(6, 7));
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(1, 9, 5, kNoFactor), 2), ElementsAre(6, 7));
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(CMatrix(1, 9)), 2), ElementsAre(1, 2));
    EXPECT_THAT(capacitiesOfAGrowing(CSparseMatrix(), 0), IsEmpty());
    CSparseMatrix A(CMatrix{{1, 0, kI}});
    A(0, 1) = 5.0;
    EXPECT_EQ(A.Capacity(), 3);
    EXPECT_THAT(listOf(A.Values()), ElementsAre(Complex(1), Complex(5), kI)) << "nothing was cut";
}

TEST(SparseTwins, RemoveZerosLooksAtTheMagnitude)
{
    const CSparseMatrix A({{3, 4}, {-4, 3}, {0, 5}, {3, 3}}, {0, 4}, {0, 1, 2, 3});
    const auto left = [&A](double tolerance) {
        CSparseMatrix B = A;
        B.RemoveZeros(tolerance, false);
        return B.NumElements();
    };
    EXPECT_EQ(left(0.0), 4);
    EXPECT_EQ(left(4.5), 3);  // 3 + 3i is 4.24 long
    EXPECT_EQ(left(5.0), 3);  // strictly
    EXPECT_EQ(left(-5.1), 0); // |tolerance|
    CSparseMatrix odd({{kNaN, 0}, {0, kNaN}, {1, kNaN}, {1e-20, -1e-20}}, {0, 4}, {1, 2, 3, 4});
    odd.RemoveZeros();
    EXPECT_EQ(odd.NumElements(), 3);
    odd.RemoveZeros(kInf, false);
    EXPECT_EQ(odd.NumElements(), 3) << "a NaN stays";
}

// ---- arithmetic

TEST(SparseTwins, TheFactorOfASumIsComplex)
{
    const CSparseMatrix A({{1, 2}}, {0, 1}, {0}), B({{3, 4}, {5, 6}}, {0, 2}, {0, 1});
    const CSparseMatrix C = CSparseMatrix::Add(CSparseMatrix(1, 2), kI, N, B);
    EXPECT_THAT(listOf(C.Values()), ElementsAre(Complex(-4, 3), Complex(-6, 5)));
    CSparseMatrix wide(1, 2);
    wide(0, 0) = Complex(1, 2);
    EXPECT_THAT(listOf((wide + B).Values()), ElementsAre(Complex(4, 6), Complex(5, 6)));
    EXPECT_THAT(listOf((wide - B).Values()), ElementsAre(Complex(-2, -2), Complex(-5, -6)));
    EXPECT_THAT(listOf(CSparseMatrix::Subtract(wide, B).Values()),
                ElementsAre(Complex(-2, -2), Complex(-5, -6)));
}

TEST(SparseTwins, ConjugateTransposedConjugatesInEveryKernelOfTheComplexClass)
{
    const CSparseMatrix A({{1, 2}, {3, 4}}, {0, 1, 2}, {1, 1}), one({1, 1}, {0, 1, 2}, {0, 1}), none(2, 2);
    EXPECT_THAT(listOf(CSparseMatrix::Add(none, 1.0, H, A).Values()),
                ElementsAre(Complex(1, -2), Complex(3, -4)));
    EXPECT_THAT(listOf(CSparseMatrix::Add(none, 1.0, T, A).Values()),
                ElementsAre(Complex(1, 2), Complex(3, 4)));
    EXPECT_THAT(listOf(CSparseMatrix::Multiply(H, A, one).Values()),
                ElementsAre(Complex(1, -2), Complex(3, -4)));
    EXPECT_THAT(listOf(CSparseMatrix::Multiply(T, A, one).Values()),
                ElementsAre(Complex(1, 2), Complex(3, 4)));
    CVector y(2);
    CSparseMatrix::Multiply(1.0, H, A, CVector{1, 1}, 0.0, y);
    EXPECT_THAT(blockOf(y), ElementsAre(Complex(), Complex(4, -6)));
    CSparseMatrix::Multiply(1.0, T, A, CVector{1, 1}, 0.0, y);
    EXPECT_THAT(blockOf(y), ElementsAre(Complex(), Complex(4, 6)));
    CMatrix C(2, 1);
    CSparseMatrix::Multiply(1.0, H, A, CMatrix{{1}, {1}}, 0.0, C);
    EXPECT_THAT(blockOf(C), ElementsAre(Complex(), Complex(4, -6)));
    EXPECT_THAT(blockOf(CVector{1, 1} * A), ElementsAre(Complex(), Complex(4, 6))) << "a row, not conjugated";

    const SparseMatrix R({1, 3}, {0, 1, 2}, {1, 1});
    EXPECT_EQ(listOf(SparseMatrix::Add(SparseMatrix(2, 2), 1.0, H, R).Values()),
              listOf(SparseMatrix::Add(SparseMatrix(2, 2), 1.0, T, R).Values()));
}

TEST(SparseTwins, TransposeConjugatesNothing)
{
    const CSparseMatrix A = hermitian({1, 1}, {2, 3}).Transpose();
    EXPECT_THAT(listOf(A.Values()), ElementsAre(Complex(1, 1), Complex(2, 3), Complex(4)));
    EXPECT_THAT(listOf(A.ColumnIndices()), ElementsAre(1, 1, 2));
    EXPECT_FALSE(A.Hermitian());
    EXPECT_EQ(A.Capacity(), 4);
}

TEST(SparseTwins, AFlaggedOperandOfASparseProductIsTheTriangleThatItStores)
{
    const CSparseMatrix A = hermitian(1.0, kI), one({1, 1}, {0, 1, 2}, {0, 1});
    for (const CSparseMatrix& C : {A * one, one * A, CSparseMatrix::Multiply(A, one)}) {
        EXPECT_THAT(listOf(C.Values()), ElementsAre(Complex(1), kI, Complex(4)));
        EXPECT_THAT(listOf(C.ColumnIndices()), ElementsAre(1, 2, 2));
        EXPECT_FALSE(C.Hermitian());
    }
    EXPECT_THAT(listOf((A * A).Values()), ElementsAre(Complex(1), 5.0 * kI, Complex(16)));
    const SparseMatrix S = symmetric(1, 2);
    expectFailure<NotSupportedException>([&] { (void)(S * S); }, "Symmetrix matrices are not supported.");
}

TEST(SparseTwins, AFlaggedOperandOfADenseProductIsTheTriangleThatItStores)
{
    const CSparseMatrix A = hermitian(1.0, {2, 3});
    EXPECT_THAT(blockOf(A * CVector{1, 1}), ElementsAre(Complex(3, 3), Complex(4)));
    EXPECT_THAT(blockOf(CVector{1, 1} * A), ElementsAre(Complex(1), Complex(6, 3)));
    EXPECT_THAT(blockOf(A * CMatrix{{1}, {1}}), ElementsAre(Complex(3, 3), Complex(4)));
    const SparseMatrix S = symmetric(1, 2);
    EXPECT_THAT(blockOf(S * Vector{1, 1}), ElementsAre(3, 6));
    EXPECT_THAT(blockOf(S * Matrix{{1}, {1}}), ElementsAre(3, 6));
}

// Without its flag in the descriptor a matrix that is not square is a plain operand.
TEST(SparseTwins, AFlaggedMatrixThatIsNotSquareIsMultipliedByTheComplexClass)
{
    CSparseMatrix A({{1, 1}, {2, 0}, {3, 0}}, {0, 1, 2, 3}, {0, 1, 0});
    A.Hermitian(true);
    EXPECT_THAT(blockOf(A * CVector{1, kI}), ElementsAre(Complex(1, 1), Complex(0, 2), Complex(3)));
    EXPECT_THAT(blockOf(A * CMatrix{{1}, {kI}}), ElementsAre(Complex(1, 1), Complex(0, 2), Complex(3)));
    SparseMatrix S({1, 2, 3}, {0, 1, 2, 3}, {0, 1, 0});
    S.Symmetric(true);
    EXPECT_THROW((void)(S * Vector{1, 2}), NotSquareMatrixException);
}

TEST(SparseTwins, TheNamedProductHasAWordOfItsOwnInTheRealClassAlone)
{
    const CSparseMatrix A(2, 3);
    expectFailure<InvalidSizeException>([&] { (void)CSparseMatrix::Multiply(A, CMatrix(2, 2)); },
                                        InvalidSizeException().what());
    expectFailure<InvalidSizeException>([&] { (void)(A * CMatrix(2, 2)); }, InvalidSizeException().what());
    const SparseMatrix R(2, 3);
    expectFailure<InvalidSizeException>([&] { (void)SparseMatrix::Multiply(R, Matrix(2, 2)); },
                                        "Invalid number of rows for matrix B");
    expectFailure<InvalidSizeException>([&] { (void)(R * Matrix(2, 2)); }, InvalidSizeException().what());
}

TEST(SparseTwins, AScalarMultipleIsNoLongerHermitian)
{
    const CSparseMatrix A = hermitian(1.0, {2, 3});
    for (const CSparseMatrix& B : {A * kI, kI * A, CSparseMatrix::Multiply(A, kI)}) {
        EXPECT_FALSE(B.Hermitian());
        EXPECT_THAT(listOf(B.Values()), ElementsAre(kI, Complex(-3, 2), 4.0 * kI));
        EXPECT_EQ(B.Capacity(), A.Capacity());
    }
    for (const CSparseMatrix& B : {-A, CSparseMatrix::Negate(A)}) {
        EXPECT_FALSE(B.Hermitian());
        EXPECT_THAT(listOf(B.Values()), ElementsAre(Complex(-1), Complex(-2, -3), Complex(-4)));
    }
    EXPECT_EQ((2.0 * CSparseMatrix(CMatrix{{1, kI}})).GrowFactor(), 1.0F);
    EXPECT_TRUE((symmetric(1, 2) * 3.0).Symmetric());
    EXPECT_TRUE((-symmetric(1, 2)).Symmetric());
}

TEST(SparseTwins, SumsIgnoreTheFlagOnBothSides)
{
    const CSparseMatrix C = hermitian(1.0, kI) + hermitian(1.0, kI);
    EXPECT_FALSE(C.Hermitian());
    EXPECT_EQ(C(0, 1), 2.0 * kI);
    EXPECT_EQ(C(1, 0), Complex());
}

// ---- comparison

TEST(SparseTwins, IsEqualWithAToleranceLooksAtTheMagnitude)
{
    const CSparseMatrix A({{1, 1}}, {0, 1}, {0}), B({{4, 5}}, {0, 1}, {0});
    EXPECT_TRUE(A.IsEqual(B, 5.0));
    EXPECT_TRUE(A.IsEqual(B, -5.0));
    EXPECT_FALSE(A.IsEqual(B, 4.99)) << "3 + 4i is 5 long, though neither part is";
    EXPECT_TRUE(A.IsEqual(A, 1e-9));
    EXPECT_TRUE(CSparseMatrix({{kNaN, 0}}, {0, 1}, {0}).IsEqual(A, 0.0));
    CSparseMatrix more({{1, 1}, {3, 4}}, {0, 2}, {0, 1});
    EXPECT_TRUE(A.IsEqual(more, 5.0));
    EXPECT_FALSE(more.IsEqual(A, 4.9));
    expectFailure<InvalidOperationException>([&] { A.IsEqual(CSparseMatrix(1, 1), 1e-9); }, kBeforeFirst);
    expectFailure<InvalidOperationException>([&] { CSparseMatrix(1, 1).IsEqual(A, 1e-9); }, kBeforeFirst);
}

TEST(SparseTwins, IsEqualWithoutAToleranceNeverHoldsInTheComplexClass)
{
    const CSparseMatrix A({{1, 1}}, {0, 1}, {0}), B = A, empty(1, 1);
    EXPECT_FALSE(A.IsEqual(A));
    EXPECT_FALSE(A.IsEqual(B));
    EXPECT_FALSE(A.IsEqual(empty)) << "and does not fail, either";
    EXPECT_FALSE(empty.IsEqual(empty));
    const SparseMatrix R({1}, {0, 1}, {0});
    EXPECT_TRUE(R.IsEqual(R));
    EXPECT_THROW(R.IsEqual(SparseMatrix(1, 1)), InvalidOperationException);
}

TEST(SparseTwins, EqualsAndItsOperatorsAnswerInTheComplexClassThatNothingIsEqual)
{
    const CSparseMatrix A({{1, 1}}, {0, 1}, {0}), B = A;
    EXPECT_FALSE(A == A);
    EXPECT_FALSE(A == B);
    EXPECT_TRUE(A != A);
    EXPECT_TRUE(A != B);
    EXPECT_FALSE(A.Equals(A));
    EXPECT_FALSE(A.Equals(&B));
    EXPECT_FALSE(A.Equals(nullptr));
    EXPECT_FALSE(A.Equals(std::string("text")));
    EXPECT_FALSE(A.Equals(1e-9));
    const SparseMatrix R({1}, {0, 1}, {0});
    EXPECT_THROW((void)(R == R), NullReferenceException);
    EXPECT_THROW((void)(R != R), NullReferenceException);
    EXPECT_THROW((void)R.Equals(R), NullReferenceException);
}

TEST(SparseTwins, TheHashTakesInBothPartsOfAComplexValue)
{
    // 1 x 2: sizes 1 ^ 2, pointers 1 ^ 2, column 1, spare slot -1; equal parts cancel.
    const CSparseMatrix none(1, 2);
    const auto hashOf = [&](Complex x) {
        CSparseMatrix A(1, 2);
        A(0, 0) = x;
        return (A + none).GetHashCode();
    };
    const std::int32_t structure = (1 ^ 2) ^ (1 ^ 2) ^ (1 ^ -1);
    EXPECT_EQ(hashOf({3, 3}), structure);
    EXPECT_EQ(hashOf({3, 5}), hashOf({5, 3})) << "parts are hashed one by one";
    EXPECT_NE(hashOf({3, 5}), hashOf({3, 7}));
    EXPECT_NE(hashOf({3, 5}), hashOf({7, 5}));
    const SparseMatrix R({3}, {0, 1}, {0});
    EXPECT_EQ(hashOf({3, 0}) ^ hashOf({0, 0}), (R + SparseMatrix(1, 1)).GetHashCode() ^ (R - R).GetHashCode())
        << "a part hashes as a real value does";
}

// ---- text

TEST(SparseTwins, AComplexElementIsAPairInParentheses)
{
    const CSparseMatrix A({{1, 2}}, {0, 1}, {0});
    EXPECT_EQ(A.ToString(), "| (1.000,2.000i) |\n");
    EXPECT_EQ(A.ToString("F1"), "| (1.0,2.0i) |\n");
    EXPECT_EQ(A.ToString(std::locale(), "F1"), "| (1.0,2.0i)|\n");
    EXPECT_EQ(SparseMatrix({1}, {0, 1}, {0}).ToString(), "| 1.000 |\n");
}

TEST(SparseTwins, TheWidthOfAComplexElementIsThatOfTheLongestPartAnywhere)
{
    CSparseMatrix A(2, 2);
    A(0, 1) = Complex(1, -123.5);
    EXPECT_EQ(A.ToString("F1", ", ", "[", "]\n", "]"),
              "[(   0.0,   0.0i), (   1.0,-123.5i)]\n[(   0.0,   0.0i), (   0.0,   0.0i)]");
    // Implicit zeros are measured here, and in the real class they are not.
    CSparseMatrix B(1, 2);
    B(0, 0) = Complex(kNaN, 1);
    EXPECT_EQ(B.ToString("F3"), "| (  NaN,1.000i) (0.000,0.000i) |\n");
    SparseMatrix R(1, 2);
    R(0, 0) = kNaN;
    EXPECT_EQ(R.ToString("F3"), "| NaN 0.000 |\n");
}

TEST(SparseTwins, AHermitianMatrixPrintsItsConjugates)
{
    EXPECT_EQ(hermitian(1.0, {2, 3}).ToString("F0"), "| ( 1, 0i) ( 2, 3i) |\n| ( 2,-3i) ( 4, 0i) |\n");
}

} // namespace
} // namespace Velmar::Lintrix
