// Comparison and hash of SparseMatrix.

#include "tests/sparse/random_pattern.h"

#include <lintrix/services/hardening.h>

#include <string>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;

constexpr const char* kBeforeFirst = "The enumerator is positioned before the first element of the matrix.";
constexpr const char* kNullReference = "Object reference not set to an instance of an object.";

SparseMatrix holding(const Shape& shape, std::initializer_list<Element> elements)
{
    SparseMatrix A(shape.rows, shape.cols);
    for (const Element& e : elements) A(e.row, e.col) = e.value;
    return A;
}

void expectEqual(bool equal, const SparseMatrix& A, const SparseMatrix& B, double tolerance)
{
    EXPECT_EQ(A.IsEqual(B, tolerance), equal);
    EXPECT_EQ(B.IsEqual(A, tolerance), equal) << "the other way round";
}

// ---- IsEqual

TEST(SparseMatrixComparison, ExplicitZerosAreNoDifference)
{
    const SparseMatrix A = holding({3, 3}, {{0, 0, 1.0}, {0, 2, 0.0}, {2, 1, 3.0}, {2, 2, 0.0}});
    SparseMatrix B = A;
    B.RemoveZeros(1e-15, false);
    EXPECT_LT(B.NumElements(), A.NumElements());
    expectEqual(true, A, B, 0.0);
    EXPECT_TRUE(A.IsEqual(B));
}

TEST(SparseMatrixComparison, SizesAreNotCompared)
{
    expectEqual(true, holding({2, 2}, {{0, 0, 5.0}}), holding({3, 3}, {{0, 0, 5.0}}), 0.0);
    EXPECT_TRUE(holding({2, 2}, {{0, 0, 5.0}}).IsEqual(holding({3, 3}, {{0, 0, 5.0}})));
}

TEST(SparseMatrixComparison, TheFlagIsNotComparedAndOnlyTheStoredTriangleCounts)
{
    SparseMatrix S(2, true);
    S(1, 0) = 4.0;
    expectEqual(true, S, holding({2, 2}, {{0, 1, 4.0}}), 0.0);
    expectEqual(false, S, holding({2, 2}, {{0, 1, 4.0}, {1, 0, 4.0}}), 0.0);
}

TEST(SparseMatrixComparison, ThePlaceOfAnElementDecides)
{
    const SparseMatrix A = holding({3, 3}, {{1, 1, 2.0}});
    for (const Element& other : {Element{0, 2, 2.0}, {1, 0, 2.0}, {1, 2, 2.0}, {2, 0, 2.0}}) {
        expectEqual(false, A, holding({3, 3}, {other}), 1.0);
        expectEqual(true, A, holding({3, 3}, {other}), 2.0);
    }
}

TEST(SparseMatrixComparison, TheToleranceIsTheGreatestDifferenceThatPassesAndItsSignIsDropped)
{
    const SparseMatrix A = holding({2, 2}, {{0, 0, 1.0}, {1, 1, 2.0}}),
                       B = holding({2, 2}, {{0, 0, 1.5}, {1, 1, 2.0}});
    expectEqual(true, A, B, 0.5);
    expectEqual(true, A, B, -0.5);
    expectEqual(false, A, B, 0.49);
    EXPECT_FALSE(A.IsEqual(B));
    EXPECT_TRUE(A.IsEqual(holding({2, 2}, {{0, 0, 1.0 + 0.9e-9}, {1, 1, 2.0}})));
    EXPECT_FALSE(A.IsEqual(holding({2, 2}, {{0, 0, 1.0 + 1.1e-9}, {1, 1, 2.0}})));
}

TEST(SparseMatrixComparison, ElementsBehindTheEndOfTheShorterWalkMustBeSmall)
{
    const SparseMatrix A = holding({4, 4}, {{0, 1, 1.0}});
    expectEqual(false, A, holding({4, 4}, {{0, 1, 1.0}, {2, 0, 0.1}, {3, 3, 0.2}}), 0.15);
    expectEqual(true, A, holding({4, 4}, {{0, 1, 1.0}, {2, 0, 0.1}, {3, 3, 0.2}}), 0.2);
    expectEqual(false, A, holding({4, 4}, {{0, 1, 1.0}, {2, 0, -0.3}, {3, 3, 0.2}}), 0.2);
}

TEST(SparseMatrixComparison, ANanAgreesWithEverything)
{
    const SparseMatrix A = holding({2, 2}, {{0, 0, kNaN}, {0, 1, 1.0}}),
                       B = holding({2, 2}, {{0, 0, 3.0}, {0, 1, 1.0}});
    expectEqual(true, A, B, 0.0);
    expectEqual(true, A, A, 0.0);
    expectEqual(true, A, holding({2, 2}, {{0, 1, 1.0}}), 0.0);
    expectEqual(true, holding({2, 2}, {{0, 0, kInf}}), holding({2, 2}, {{0, 0, kInf}}), 0.0);
    expectEqual(false, holding({2, 2}, {{0, 0, kInf}}), holding({2, 2}, {{0, 0, -kInf}}), 1e300);
    EXPECT_TRUE(A.IsEqual(holding({2, 2}, {{1, 1, 99.0}}), kNaN)) << "nothing is greater than a NaN";
}

TEST(SparseMatrixComparison, AMatrixThatStoresNothingCannotBeCompared)
{
    const SparseMatrix empty(2, 2), A = holding({2, 2}, {{0, 0, 1.0}});
    expectFailure<InvalidOperationException>([&] { empty.IsEqual(A); }, kBeforeFirst);
    expectFailure<InvalidOperationException>([&] { A.IsEqual(empty); }, kBeforeFirst);
    expectFailure<InvalidOperationException>([&] { empty.IsEqual(empty); }, kBeforeFirst);
    expectFailure<InvalidOperationException>([&] { A.IsEqual(empty, 5.0); }, kBeforeFirst);
}

TEST(SparseMatrixComparison, RandomPatternsAreEqualJustWhenTheirDenseFormsAre)
{
    std::mt19937_64 generator(41);
    for (const Shape& shape : sparseShapes()) {
        for (int k = 0; k < 20; ++k) {
            SparseMatrix A = randomSparse(shape, 0.5, Values::Integers, generator), B = A;
            A(0, 0) = 1.0; // so that both store something
            B(0, 0) = 1.0;
            const auto row = static_cast<int>(generator() % static_cast<unsigned>(shape.rows));
            const auto col = static_cast<int>(generator() % static_cast<unsigned>(shape.cols));
            B(row, col) = B.Item(row, col) + static_cast<double>(generator() % 3);
            for (const double tolerance : {0.0, 1.0, 2.0}) {
                expectEqual(A.ToDense().IsEqual(B.ToDense(), tolerance), A, B, tolerance);
            }
        }
    }
}

// ---- Equals

TEST(SparseMatrixComparison, EqualsAndItsOperatorsNeverAnswer)
{
    const SparseMatrix A = holding({2, 2}, {{0, 0, 1.0}}), B(3, 3);
    expectFailure<NullReferenceException>([&] { static_cast<void>(A == A); }, kNullReference);
    expectFailure<NullReferenceException>([&] { static_cast<void>(A == B); }, kNullReference);
    expectFailure<NullReferenceException>([&] { static_cast<void>(A != A); }, kNullReference);
    expectFailure<NullReferenceException>([&] { static_cast<void>(A != B); }, kNullReference);
    expectFailure<NullReferenceException>([&] { A.Equals(A); }, kNullReference);
    expectFailure<NullReferenceException>([&] { A.Equals(&B); }, kNullReference);
    expectFailure<NullReferenceException>([&] { A.Equals(nullptr); }, kNullReference);
    expectFailure<NullReferenceException>([&] { A.Equals(std::string("text")); }, kNullReference);
}

// ---- hash

TEST(SparseMatrixComparison, TheHashIsRepeatable)
{
    const SparseMatrix A = holding({2, 2}, {{0, 0, 1.0}, {1, 1, 2.0}});
    EXPECT_EQ(A.GetHashCode(), A.GetHashCode());
    EXPECT_EQ((A + A).GetHashCode(), (2.0 * A + 0.0 * A).GetHashCode()) << "results have the same spare slot";
    EXPECT_EQ(A.Transpose().GetHashCode(), A.Transpose().Transpose().GetHashCode()) << "diagonal";
}

TEST(SparseMatrixComparison, TheHashIsTheFoldOfAllArrays)
{
    // rows 2, columns 2; pointers 1 2 3; columns 1 2; value 1.0 twice, which cancels; spare slot (0.0, -1)
    SparseMatrix A(2, 2);
    A(0, 0) = 1.0;
    A(1, 1) = 1.0;
    EXPECT_EQ((A + SparseMatrix(2, 2)).GetHashCode(), (2 ^ 2) ^ (1 ^ 2 ^ 3) ^ (1 ^ 2 ^ -1));
}

TEST(SparseMatrixComparison, TheSlotBehindTheElementsIsTakenInWhereThereIsOne)
{
    // Exact arrays: nothing lies behind them, and nothing is read there.
    const SparseMatrix exact(Matrix{{1, 0}, {0, 1}});
    EXPECT_EQ(exact.Capacity(), 2);
    EXPECT_EQ(exact.GetHashCode(), (2 ^ 2) ^ (1 ^ 2 ^ 3) ^ (1 ^ 2));
    EXPECT_TRUE(exact.IsEqual(exact + SparseMatrix(2, 2)));
    EXPECT_NE(exact.GetHashCode(), (exact + SparseMatrix(2, 2)).GetHashCode())
        << "equal, and yet another hash";
}

TEST(SparseMatrixComparison, TheHashDependsOnSizesColumnsAndValues)
{
    const SparseMatrix A = holding({2, 3}, {{0, 0, 1.0}}) + SparseMatrix(2, 3);
    const SparseMatrix wider = holding({2, 4}, {{0, 0, 1.0}}) + SparseMatrix(2, 4);
    const SparseMatrix moved = holding({2, 3}, {{0, 1, 1.0}}) + SparseMatrix(2, 3);
    const SparseMatrix other = holding({2, 3}, {{0, 0, 1.5}}) + SparseMatrix(2, 3);
    for (const SparseMatrix* B : {&wider, &moved, &other}) EXPECT_NE(A.GetHashCode(), B->GetHashCode());
}

// ---- caller's duties

TEST(SparseMatrixComparison, AReleasedMatrixIsRefusedInTheHardenedBuild)
{
    if (!detail::kHardened) return; // null pointers there
    SparseMatrix released(2, 2);
    released.Dispose();
    EXPECT_THROW(released.GetHashCode(), InvalidOperationException);
    EXPECT_THROW(released.IsEqual(SparseMatrix(2, true)), InvalidOperationException);
    EXPECT_THROW(released.ToString(), InvalidOperationException);
}

} // namespace
} // namespace Velmar::Lintrix
