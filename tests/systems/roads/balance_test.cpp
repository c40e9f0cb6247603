// Units of unknowns follow every change of units.

#include <lintrix/systems/roads/balance.h>
#include <tests/systems/quality/reference.h>

#include <gmock/gmock.h>

#include <cmath>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

using detail::AnyMatrix;
using detail::roads::UnitsBy;
using detail::roads::unitsOfUnknowns;

constexpr TransposeMode kPlain = TransposeMode::NotTransposed, kTransposed = TransposeMode::Transposed;
constexpr int kSize = 30;

/// Element (i, j) by 2^(left_i + right_j).
template <class Cell>
void scale(detail::MatrixOf<Cell>& A, const std::vector<int>& left, const std::vector<int>& right)
{
    for (int j = 0; j < A.Cols(); ++j)
        for (int i = 0; i < A.Rows(); ++i) A(i, j) *= std::ldexp(1.0, left[i] + right[j]);
}

std::vector<int> drawn(Cells& cells, int reach)
{
    std::vector<int> exponents(kSize);
    for (int& exponent : exponents) exponent = cells.whole(-reach, reach);
    return exponents;
}

/// Up to rounding, what the elements themselves ask for, and a number that is added to all.
void expectOpposite(const std::vector<int>& units, const std::vector<int>& scaled)
{
    ASSERT_EQ(units.size(), scaled.size());
    for (std::size_t j = 0; j < units.size(); ++j)
        EXPECT_NEAR(units[j] + scaled[j], units[0] + scaled[0], 8.0) << j;
}

template <class Cell>
void expectUnitsFollow()
{
    Cells cells(7);
    auto A = cells.matrix<Cell>(kSize, kSize, 0.15);
    for (int i = 0; i < kSize; ++i) A(i, i) = Cell(1.0);
    const std::vector<int> left = drawn(cells, 400), right = drawn(cells, 400);
    scale<Cell>(A, left, right);
    const detail::SparseOf<Cell> sparse(A);
    for (const AnyMatrix<Cell>& view : {AnyMatrix<Cell>(A), AnyMatrix<Cell>(sparse)}) {
        expectOpposite(unitsOfUnknowns(view, kPlain), right);
        expectOpposite(unitsOfUnknowns(view, kTransposed), left);
    }
}

TEST(UnitsOfUnknowns, FollowRowsAndColumns)
{
    expectUnitsFollow<double>();
    expectUnitsFollow<ComplexCell>();
}

TEST(UnitsOfUnknowns, OfOneTriangleAreThoseOfBoth)
{
    Cells cells(3);
    auto A = cells.matrix<double>(kSize, kSize, 0.2);
    for (int i = 0; i < kSize; ++i) A(i, i) = 1.0;
    for (int j = 0; j < kSize; ++j)
        for (int i = 0; i < j; ++i) A(j, i) = A(i, j);
    const std::vector<int> both = drawn(cells, 100);
    scale<double>(A, both, both);
    const SparseMatrix full(A), triangle = triangleOf<double>(A);
    EXPECT_EQ(unitsOfUnknowns(AnyMatrix<double>(triangle), kPlain),
              unitsOfUnknowns(AnyMatrix<double>(full), kPlain));
}

TEST(UnitsOfUnknowns, AreNotLookedForWhereTheyAreAlike)
{
    const Matrix A = Cells(1).matrix<double>(9, 9);
    EXPECT_THAT(unitsOfUnknowns(AnyMatrix<double>(A), kPlain), ::testing::IsEmpty());
    EXPECT_THAT(unitsOfUnknowns(AnyMatrix<double>(Matrix(4, 4)), kPlain), ::testing::IsEmpty());
}

/// The largest elements of rows and columns, 2^33 to 2^50, stand beside the last unknown or equation.
TEST(UnitsOfUnknowns, BehindAHubAreFoundByTheirFit)
{
    const std::vector<int> both{-7, 13, 37};
    Matrix A(3, 3);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) A(i, j) = i == 2 && j == 2 ? 0.0 : std::ldexp(1.0, both[i] + both[j]);
    const AnyMatrix<double> view(A);
    EXPECT_THAT(unitsOfUnknowns(view, kPlain), ::testing::IsEmpty());
    EXPECT_THAT(unitsOfUnknowns(view, kPlain, UnitsBy::Fit), ::testing::ElementsAre(0, -20, -44));
    EXPECT_THAT(unitsOfUnknowns(AnyMatrix<double>(Cells(1).matrix<double>(9, 9)), kPlain, UnitsBy::Fit),
                ::testing::IsEmpty());
}

/// Subnormal numbers have sizes of their own, and zeros that are stored tell none, in either storage.
TEST(UnitsOfUnknowns, FollowNumbersBelowTheNormalOnesPastStoredZeros)
{
    SparseMatrix A(3, 3);
    A(0, 0) = 1.0;
    A(1, 1) = 0x1p-300;
    A(2, 2) = 0x1p-1060;
    A(0, 2) = 1.0; // keeps its place
    A(0, 2) = 0.0;
    SparseMatrix triangle = A;
    triangle.Symmetric(true);
    for (const SparseMatrix& matrix : {A, triangle})
        EXPECT_THAT(unitsOfUnknowns(AnyMatrix<double>(matrix), kTransposed, UnitsBy::Fit),
                    ::testing::ElementsAre(-960, -760, 0));
}

TEST(UnitsOfUnknowns, ElementsThatTellNoSizeAreLeftOut)
{
    Matrix A(3, 3);
    A(0, 0) = A(1, 1) = 1.0;
    A(2, 2) = 0x1p100;
    A(0, 1) = NAN;
    A(1, 2) = INFINITY;
    const std::vector<int> units = unitsOfUnknowns(AnyMatrix<double>(A), kPlain);
    ASSERT_EQ(units.size(), 3U);
    for (const int unit : units) EXPECT_LE(unit, 0);
    EXPECT_EQ(*std::max_element(units.begin(), units.end()), 0);
}

} // namespace
} // namespace Velmar::Lintrix::testing
