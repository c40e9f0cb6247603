// Results whose sides come from different operands, each of them small: more cells than a matrix can count
// are refused, and nothing is written past a block whose size wrapped.

#include <lintrix/decompositions/lq.h>
#include <lintrix/decompositions/lu.h>
#include <lintrix/decompositions/qr.h>
#include <lintrix/decompositions/svd.h>
#include <lintrix/dense/detail/sizes.h>
#include <lintrix/dense/detail/workspace.h>

#include "tests/decompositions/cases.h"

#include <climits>

namespace Velmar::Lintrix::testing {
namespace {

constexpr const char* kNoMemory = "There is not enough memory to continue the execution.";

// The square of it is 2^32, which is 0 in 32 bits.
constexpr int kSide = 65536;
// The square of it is a little above 2^31: negative in 32 bits.
constexpr int kNegativeSide = 46341;

// Zero, but for a one in the corner.
Matrix unit(const Shape& shape)
{
    Matrix A(shape.rows, shape.cols);
    A(0, 0) = 1.0;
    return A;
}

// The largest request that was refused, in doubles; the header of a block is less than one in a thousand.
void expectRefusal(const CappedAllocator& allocator, std::int64_t cells)
{
    const std::size_t bytes = static_cast<std::size_t>(cells) * sizeof(double);
    EXPECT_GE(allocator.largestRefused(), bytes);
    EXPECT_LE(allocator.largestRefused(), bytes + bytes / 1000);
}

TEST(ResultSizes, ProductsAreCountedWhereTheyFitAndRefusedWhereTheyDoNot)
{
    EXPECT_EQ(detail::resultCells(46340, 46340), 2147395600);
    EXPECT_EQ(detail::resultCells(1, INT_MAX), INT_MAX);
    EXPECT_EQ(detail::resultCells(0, INT_MAX), 0);
    for (const int side : {kSide, kNegativeSide}) EXPECT_LT(detail::resultCells(side, side), 0);
    EXPECT_LT(detail::resultCells(INT_MAX, INT_MAX), 0);
    EXPECT_LT(detail::resultCells(std::int64_t{INT_MAX} + 1, 0), 0);
}

TEST(ResultSizes, SolutionOfAWideSystemWithManyRightHandColumns)
{
    for (const int side : {kSide, kNegativeSide}) {
        SCOPED_TRACE(side);
        const Matrix A = unit({1, side}), B(A);
        const std::int64_t before = TrellConfiguration::TotalMemory();
        expectFailure<NotEnoughMemoryException>([&] { LQ(A).Solve(B); }, kNoMemory);
        expectFailure<NotEnoughMemoryException>([&] { A.Solve(B); }, kNoMemory);
        expectFailure<NotEnoughMemoryException>([&] { Matrix::LDivide(A, B); }, kNoMemory);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    }
}

TEST(ResultSizes, QuotientOfTwoColumns)
{
    for (const int side : {kSide, kNegativeSide}) {
        SCOPED_TRACE(side);
        const Matrix A = unit({side, 1}), B(A);
        const std::int64_t before = TrellConfiguration::TotalMemory();
        expectFailure<NotEnoughMemoryException>([&] { A / B; }, kNoMemory);
        expectFailure<NotEnoughMemoryException>([&] { Matrix::Divide(A, B); }, kNoMemory);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    }
}

TEST(ResultSizes, PermutationsOfOneLongColumnOrRow)
{
    for (const int side : {kSide, kNegativeSide}) {
        SCOPED_TRACE(side);
        const LU lu(unit({side, 1}));
        const QR qr(unit({1, side})), pivoting(unit({1, side}), true);
        const std::int64_t before = TrellConfiguration::TotalMemory();
        expectFailure<NotEnoughMemoryException>([&] { lu.P(); }, kNoMemory);
        expectFailure<NotEnoughMemoryException>([&] { qr.P(); }, kNoMemory);
        expectFailure<NotEnoughMemoryException>([&] { pivoting.P(); }, kNoMemory);
        EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
        EXPECT_TRUE(isPermutation(lu.GetPivots(), side)); // a list of them is small
        EXPECT_TRUE(isPermutation(qr.GetPivots(), side));
        EXPECT_TRUE(isPermutation(pivoting.GetPivots(), side));
    }
}

// The vectors of one long column or row are square: 2^32 cells, which is more than this allocator has.
TEST(ResultSizes, SingularVectorsOfOneLongColumnOrRowAreAskedForInFull)
{
    for (const Matrix& A : {unit({kSide, 1}), unit({1, kSide})}) {
        const CappedAllocator gigabyte(std::size_t{1} << 30);
        expectFailure<NotEnoughMemoryException>([&] { SVD svd(A); }, kNoMemory);
        expectRefusal(gigabyte, std::int64_t{kSide} * kSide);
        EXPECT_EQ(SVD(A, true).SingularValue(0), 1.0);
    }
}

TEST(ResultSizes, WorkSpaceIsNeverEmptyAndItsLengthFitsTheRoutines)
{
    const CappedAllocator small(1024);
    EXPECT_EQ(detail::Workspace<double>(0).lwork, 1);
    EXPECT_EQ(detail::Workspace<double>(7).lwork, 7);
    const auto workspace = [](std::int64_t length, std::int64_t least) {
        detail::Workspace<double> work(length, least);
    };
    // Capped at what LWORK can say while that is enough, and refused without a try where it is not.
    expectFailure<NotEnoughMemoryException>([&] { workspace(INT64_MAX, INT_MAX); }, kNoMemory);
    expectRefusal(small, INT_MAX);
    const CappedAllocator fresh(1024);
    expectFailure<NotEnoughMemoryException>([&] { workspace(INT64_MAX, std::int64_t{INT_MAX} + 1); },
                                            kNoMemory);
    EXPECT_EQ(fresh.largestRefused(), 0u);
}

} // namespace
} // namespace Velmar::Lintrix::testing
