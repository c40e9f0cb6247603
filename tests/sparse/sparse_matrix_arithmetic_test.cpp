// Sums, scalar multiples and transposition of SparseMatrix.

#include "tests/sparse/random_pattern.h"

#include <lintrix/services/hardening.h>

#include <cstring>
#include <set>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using ::testing::ElementsAre;

constexpr auto N = TransposeMode::NotTransposed;
constexpr const char* kSizeMismatch = "Matrix sizes do not match.";

class Special : public SparseMatrix {
public:
    using SparseMatrix::SparseMatrix;
};

// [ 1 . 2 ]
// [ . 3 . ]
SparseMatrix small()
{
    return SparseMatrix({1, 2, 3}, {0, 2, 3}, {0, 2, 1});
}

// Symmetric storage of [2 1; 1 3].
SparseMatrix smallSymmetric()
{
    SparseMatrix S(2, true);
    S(0, 0) = 2.0;
    S(0, 1) = 1.0;
    S(1, 1) = 3.0;
    return S;
}

std::set<std::pair<int, int>> unionOfPatterns(const SparseMatrix& A, TransposeMode mode,
                                              const SparseMatrix& B)
{
    std::set<std::pair<int, int>> places;
    for (const Element& e : elementsOf(A)) places.emplace(e.row, e.col);
    for (const Element& e : elementsOf(B)) {
        if (mode == N)
            places.emplace(e.row, e.col);
        else
            places.emplace(e.col, e.row);
    }
    return places;
}

// ---- sums

TEST(SparseMatrixArithmetic, TwoElementsAtOnePlaceAreOneElementOfTheSum)
{
    SparseMatrix A(2, 2), B(2, 2);
    A(0, 0) = 2.0;
    B(0, 0) = 3.0;
    EXPECT_THAT(elementsOf(A + B), ElementsAre(Element{0, 0, 5.0}));
    B(0, 0) = -2.0;
    EXPECT_THAT(elementsOf(A + B), ElementsAre(Element{0, 0, 0.0})) << "what cancels stays stored";
}

TEST(SparseMatrixArithmetic, AMatrixMinusItselfStoresAsManyZeros)
{
    std::mt19937_64 generator(11);
    const SparseMatrix A = randomSparse({12, 9}, 0.3, Values::Uniform, generator), difference = A - A;
    EXPECT_EQ(difference.NumElements(), A.NumElements());
    EXPECT_GT(A.NumElements(), 0);
    EXPECT_THAT(difference.Values(), ::testing::Each(0.0));
}

// Integers, so that every form of the sum gives the same bits.
TEST(SparseMatrixArithmetic, SumsInEveryModeAreThoseOfTheDenseMatrices)
{
    std::mt19937_64 generator(1);
    for (const Shape& shape : sparseShapes()) {
        for (const TransposeMode mode : kModes) {
            for (const double density : {0.0, 0.1, 0.5, 1.0}) {
                SCOPED_TRACE(::testing::Message()
                             << shape << ", mode " << static_cast<int>(mode) << ", " << density);
                const SparseMatrix A = randomSparse(shape, density, Values::Integers, generator);
                const SparseMatrix B =
                    randomSparse(storedShape(mode, shape), 0.4, Values::Integers, generator);
                for (const double beta : {1.0, -1.0, 2.5, 0.0}) {
                    const SparseMatrix C = SparseMatrix::Add(A, beta, mode, B);
                    expectFreshResult(C, shape);
                    EXPECT_EQ(static_cast<std::size_t>(C.NumElements()), unionOfPatterns(A, mode, B).size());
                    EXPECT_TRUE(identical(C.ToDense(), A.ToDense() + beta * denseOp(mode, B)));
                }
            }
        }
    }
}

TEST(SparseMatrixArithmetic, RoundingErrorsOfASumAreThoseOfItsTwoOperations)
{
    std::mt19937_64 generator(2);
    for (const Shape& shape : sparseShapes()) {
        const SparseMatrix A = randomSparse(shape, 0.5, Values::Uniform, generator);
        const SparseMatrix B = randomSparse(shape, 0.5, Values::Uniform, generator);
        const Matrix C = SparseMatrix::Add(A, -0.7, N, B).ToDense();
        for (int r = 0; r < shape.rows; ++r) {
            for (int c = 0; c < shape.cols; ++c) {
                const long double exact =
                    static_cast<long double>(A.Item(r, c)) - 0.7 * static_cast<long double>(B.Item(r, c));
                EXPECT_LE(std::abs(static_cast<double>(C(r, c) - exact)),
                          2.0 * kEps * (std::abs(A.Item(r, c)) + 0.7 * std::abs(B.Item(r, c))));
            }
        }
    }
}

TEST(SparseMatrixArithmetic, NamedFormsAreTheOperators)
{
    std::mt19937_64 generator(3);
    const SparseMatrix A = randomSparse({9, 8}, 0.4, Values::Integers, generator);
    const SparseMatrix B = randomSparse({9, 8}, 0.4, Values::Integers, generator);
    EXPECT_EQ(elementsOf(SparseMatrix::Add(A, B)), elementsOf(A + B));
    EXPECT_EQ(elementsOf(SparseMatrix::Subtract(A, B)), elementsOf(A - B));
    EXPECT_EQ(elementsOf(SparseMatrix::Add(A, -1.0, N, B)), elementsOf(A - B));
    EXPECT_EQ(elementsOf(SparseMatrix::Negate(A)), elementsOf(-A));
    EXPECT_EQ(elementsOf(SparseMatrix::Multiply(A, 3.0)), elementsOf(A * 3.0));
    EXPECT_EQ(elementsOf(3.0 * A), elementsOf(A * 3.0));
}

TEST(SparseMatrixArithmetic, WhatIsAddedAndSubtractedAgainLeavesTheValues)
{
    std::mt19937_64 generator(4);
    for (const Shape& shape : sparseShapes()) {
        const SparseMatrix A = randomSparse(shape, 0.3, Values::Integers, generator);
        const SparseMatrix B = randomSparse(shape, 0.3, Values::Integers, generator);
        EXPECT_TRUE(identical((A + B - B).ToDense(), A.ToDense())) << shape;
        EXPECT_EQ((A + B - B).NumElements(), (A + B).NumElements()) << shape;
    }
}

TEST(SparseMatrixArithmetic, OneMatrixMayBeBothOperands)
{
    const SparseMatrix A = small();
    EXPECT_EQ(elementsOf(A + A), elementsOf(A * 2.0));
    const SparseMatrix B = small() + small();
    EXPECT_EQ(elementsOf(A), elementsOf(small())) << "the operands stay as they are";
}

TEST(SparseMatrixArithmetic, TheSumOfEmptyMatricesIsEmpty)
{
    const SparseMatrix C = SparseMatrix(3, 4) + SparseMatrix(3, 4);
    expectFreshResult(C, {3, 4});
    EXPECT_EQ(C.NumElements(), 0);
    EXPECT_EQ(C.Capacity(), 1);
}

TEST(SparseMatrixArithmetic, ASymmetricMatrixPlusItselfReadsZeroBelowTheDiagonal)
{
    const SparseMatrix S = smallSymmetric(), sum = S + S;
    expectFreshResult(sum, {2, 2});
    EXPECT_THAT(elementsOf(sum), ElementsAre(Element{0, 0, 4.0}, Element{0, 1, 2.0}, Element{1, 1, 6.0}));
    EXPECT_EQ(sum.Item(1, 0), 0.0);
    EXPECT_EQ(S.Item(1, 0), 1.0);
}

TEST(SparseMatrixArithmetic, ANanTravelsThroughSums)
{
    SparseMatrix A(1, 2), B(1, 2);
    A(0, 0) = std::numeric_limits<double>::quiet_NaN();
    B(0, 0) = 1.0;
    B(0, 1) = std::numeric_limits<double>::infinity();
    const SparseMatrix C = SparseMatrix::Add(A, 0.0, N, B);
    EXPECT_TRUE(std::isnan(C.Item(0, 0)));
    EXPECT_TRUE(std::isnan(C.Item(0, 1))) << "beta is applied also when it is 0";
}

TEST(SparseMatrixArithmetic, AnInsertionIntoAResultFindsTheSpareSlotAndThenGrows)
{
    SparseMatrix C = small() + small();
    EXPECT_EQ(C.Capacity(), 4);
    C(1, 2) = 9.0;
    EXPECT_EQ(C.Capacity(), 4);
    C(1, 0) = 8.0;
    EXPECT_EQ(C.Capacity(), 5);
    EXPECT_THAT(elementsOf(C), ElementsAre(Element{0, 0, 2.0}, Element{0, 2, 4.0}, Element{1, 0, 8.0},
                                           Element{1, 1, 6.0}, Element{1, 2, 9.0}));
}

// ---- failures of sums

TEST(SparseMatrixArithmetic, SumsOfDifferentClassesAreRefusedBeforeTheShapeIsLookedAt)
{
    const SparseMatrix A(2, 3);
    const Special B(5, 5);
    expectFailure<ArgumentException>([&] { A + B; }, "Matrices are not of the same type");
    expectFailure<ArgumentException>([&] { B + A; }, "Matrices are not of the same type");
    expectFailure<ArgumentException>([&] { SparseMatrix::Add(A, 1.0, kNoMode, B); },
                                     "Matrices are not of the same type");
    EXPECT_EQ((B + B).Rows(), 5);
}

TEST(SparseMatrixArithmetic, SumsOfDifferentShapesAreRefused)
{
    const SparseMatrix A(2, 3), rows(3, 3), cols(2, 2), turned(3, 2);
    for (const SparseMatrix* B : {&rows, &cols, &turned}) {
        expectFailure<SizeMismatchException>([&] { A + *B; }, kSizeMismatch);
        expectFailure<SizeMismatchException>([&] { A - *B; }, kSizeMismatch);
    }
    for (const TransposeMode mode : {TransposeMode::Transposed, TransposeMode::ConjugateTransposed}) {
        EXPECT_EQ(SparseMatrix::Add(A, 1.0, mode, turned).Rows(), 2);
        expectFailure<SizeMismatchException>([&] { SparseMatrix::Add(A, 1.0, mode, A); }, kSizeMismatch);
    }
}

TEST(SparseMatrixArithmetic, AModeOutsideTheEnumerationEndsInTheSizeFailure)
{
    const SparseMatrix A(3, 3);
    expectFailure<SizeMismatchException>([&] { SparseMatrix::Add(A, 1.0, kNoMode, A); }, kSizeMismatch);
    expectFailure<SizeMismatchException>(
        [&] { SparseMatrix::Add(A, 1.0, static_cast<TransposeMode>(-1), A); }, kSizeMismatch);
}

TEST(SparseMatrixArithmetic, AModeOutsideTheEnumerationIsRefusedForAMatrixWithoutRowsToo)
{
    if (detail::kHardened) return; // a size of 0 is refused when it is set
    SparseMatrix A(3, 3);
    A.Rows(0);
    A.Cols(0);
    expectFailure<SizeMismatchException>([&] { SparseMatrix::Add(A, 1.0, kNoMode, A); }, kSizeMismatch);
}

TEST(SparseMatrixArithmetic, WhicheverAllocationFailsNothingLeaksAndTheOperandsStay)
{
    const SparseMatrix A = small();
    const auto untouched = [&] { return elementsOf(A) == elementsOf(small()); };
    EXPECT_EQ(failEachAllocation([&] { return A + A; }, untouched), 3);
    EXPECT_EQ(failEachAllocation([&] { return A - A; }, untouched), 3);
    EXPECT_EQ(failEachAllocation([&] { return A * 2.0; }, untouched), 3);
    EXPECT_EQ(failEachAllocation([&] { A.Transpose(); }, untouched), 3);
}

// ---- scalar multiples

TEST(SparseMatrixArithmetic, AScalarMultipleKeepsFlagGrowthFactorAndCapacity)
{
    SparseMatrix S(3, true, 17, 2.5F);
    S(0, 1) = 4.0;
    S(1, 1) = -2.0;
    const SparseMatrix half = 0.5 * S;
    EXPECT_TRUE(half.Symmetric());
    EXPECT_EQ(half.GrowFactor(), 2.5F);
    EXPECT_EQ(half.Capacity(), 17);
    EXPECT_THAT(elementsOf(half),
                ElementsAre(Element{0, 0, 0.0}, Element{0, 1, 2.0}, Element{1, 1, -1.0}, Element{2, 2, 0.0}));
    EXPECT_EQ(S.Item(0, 1), 4.0);
}

TEST(SparseMatrixArithmetic, TimesZeroKeepsAllSlots)
{
    const SparseMatrix zero = small() * 0.0;
    EXPECT_EQ(zero.NumElements(), 3);
    EXPECT_THAT(zero.Values(), ::testing::Each(0.0));
}

TEST(SparseMatrixArithmetic, AScalarMultipleOfAnEmptyMatrixIsEmpty)
{
    EXPECT_EQ((SparseMatrix(2, 2) * 3.0).NumElements(), 0);
    EXPECT_EQ((-SparseMatrix(2, 2)).NumElements(), 0);
}

TEST(SparseMatrixArithmetic, PlusIsTheSameObjectAndTheOperatorANewOne)
{
    const SparseMatrix A = small();
    EXPECT_EQ(&SparseMatrix::Plus(A), &A);
    const SparseMatrix& copy = +A;
    EXPECT_NE(&copy, &A);
    EXPECT_EQ(elementsOf(copy), elementsOf(A));
}

// ---- transposition

TEST(SparseMatrixArithmetic, ATransposeHasAscendingColumnsAndOneSpareSlot)
{
    const SparseMatrix turned = small().Transpose();
    expectFreshResult(turned, {3, 2});
    EXPECT_THAT(elementsOf(turned), ElementsAre(Element{0, 0, 1.0}, Element{1, 1, 3.0}, Element{2, 0, 2.0}));
    EXPECT_EQ(turned.Capacity(), turned.NumElements() + 1);
}

TEST(SparseMatrixArithmetic, TransposesAreThoseOfTheDenseMatricesAndTwiceIsOnce)
{
    std::mt19937_64 generator(5);
    for (const Shape& shape : sparseShapes()) {
        for (const double density : {0.0, 0.2, 1.0}) {
            SCOPED_TRACE(::testing::Message() << shape << ", " << density);
            const SparseMatrix A = randomSparse(shape, density, Values::Uniform, generator);
            const SparseMatrix turned = A.Transpose();
            expectFreshResult(turned, {shape.cols, shape.rows});
            EXPECT_TRUE(identical(turned.ToDense(), naiveTranspose(A.ToDense())));
            EXPECT_EQ(elementsOf(turned.Transpose()), elementsOf(A));
        }
    }
}

TEST(SparseMatrixArithmetic, TheTransposeOfASymmetricMatrixIsItsLowerTriangle)
{
    const SparseMatrix turned = smallSymmetric().Transpose();
    expectFreshResult(turned, {2, 2});
    EXPECT_THAT(elementsOf(turned), ElementsAre(Element{0, 0, 2.0}, Element{1, 0, 1.0}, Element{1, 1, 3.0}));
}

TEST(SparseMatrixArithmetic, AddingATransposeIsAddingInTransposedMode)
{
    std::mt19937_64 generator(6);
    const SparseMatrix A = randomSparse({9, 8}, 0.4, Values::Uniform, generator);
    const SparseMatrix B = randomSparse({8, 9}, 0.4, Values::Uniform, generator);
    EXPECT_EQ(elementsOf(SparseMatrix::Add(A, 3.0, TransposeMode::Transposed, B)),
              elementsOf(SparseMatrix::Add(A, 3.0, N, B.Transpose())));
}

// ---- after a refused byte form

// It leaves the sizes that were refused, and the elements of old.
TEST(SparseMatrixArithmetic, ElementsOfAMatrixWithoutColumnsAreNotWrittenAnywhere)
{
    constexpr const char* text = "The matrix has elements, but no longer columns.";
    for (const int cols : {0, -1, INT32_MIN}) {
        SparseMatrix A({1, 2, 3, 4, 5}, {0, 1, 2, 5}, {4, 900, 2, 3, 800});
        std::vector<std::byte> form(8);
        const int rows = 3;
        std::memcpy(form.data(), &rows, 4);
        std::memcpy(form.data() + 4, &cols, 4);
        EXPECT_THROW(A.Data(form), InvalidSizeException);
        const SparseMatrix left(1, 3);
        expectFailure<InvalidOperationException>([&] { A.Transpose(); }, text);
        expectFailure<InvalidOperationException>([&] { return left * A; }, text);
        expectFailure<InvalidOperationException>(
            [&] { SparseMatrix::Multiply(TransposeMode::Transposed, A, SparseMatrix(3, 3)); }, text);
        expectFailure<InvalidOperationException>([&] { SparseMatrix::Add(A, 1.0, N, A); }, text);
        EXPECT_EQ(A.NumElements(), 5);
    }
}

// A negative column count is a parameter fault of the kernels, which then write nothing, `info` included.
TEST(SparseMatrixArithmetic, ANegativeColumnCountHasNoResult)
{
    if (detail::kHardened) return; // it is refused when it is set
    constexpr const char* text = "Operation has failed to complete.";
    SparseMatrix A = small(), left(2, A.Rows());
    A.Cols(-1);
    const std::int64_t before = TrellConfiguration::TotalMemory();
    ::testing::internal::CaptureStdout();
    expectFailure<OperationFailedException>([&] { return A + A; }, text);
    expectFailure<OperationFailedException>([&] { return A - A; }, text);
    expectFailure<OperationFailedException>([&] { return left * A; }, text);
    expectFailure<OperationFailedException>(
        [&] { SparseMatrix::Multiply(TransposeMode::Transposed, A, SparseMatrix(A.Rows(), 3)); }, text);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "MKL ERROR: Parameter 5 was incorrect on entry to MKL_DCSRADD\n"
              "MKL ERROR: Parameter 5 was incorrect on entry to MKL_DCSRADD\n"
              "MKL ERROR: Parameter 6 was incorrect on entry to MKL_DCSRMULTCSR\n"
              "MKL ERROR: Parameter 5 was incorrect on entry to MKL_DCSRMULTCSR\n");
    for (const int cols : {-1, -2, INT32_MIN}) {
        A.Cols(cols);
        expectFailure<OperationFailedException>([&] { A.Transpose(); }, text);
    }
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
}

// ---- caller's duties

TEST(SparseMatrixArithmetic, AReleasedOperandIsRefusedInTheHardenedBuild)
{
    if (!detail::kHardened) return; // null pointers there
    const SparseMatrix A = small();
    SparseMatrix released = small();
    released.Dispose();
    EXPECT_THROW(A + released, InvalidOperationException);
    EXPECT_THROW(released + A, InvalidOperationException);
    EXPECT_THROW(2.0 * released, InvalidOperationException);
    EXPECT_THROW(released.Transpose(), InvalidOperationException);
}

} // namespace
} // namespace Velmar::Lintrix
