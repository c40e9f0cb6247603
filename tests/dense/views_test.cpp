// Cells as a range, views, compound assignment and printing of the dense classes, real and complex. What is
// expected is written out, or follows from the operators that make new objects.

#include "tests/dense/dense_support.h"
#include "tests/dense/dense_twins.h"
#include "tests/support/expect_failure.h"

#include <lintrix/complex/cmatrix.h>
#include <lintrix/complex/cvector.h>
#include <lintrix/dense/views.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <ranges>
#include <span>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace Velmar::Lintrix::testing {
namespace {

/// 1, 2, 3, ... column after column, times the twin's unit.
template <class Twin>
typename Twin::M counted(std::int32_t rows, std::int32_t cols)
{
    typename Twin::M A(rows, cols);
    double next = 0.0;
    for (auto& cell : A) cell = Twin::cell(++next);
    return A;
}
template <class Twin>
typename Twin::V countedVector(std::int32_t size)
{
    typename Twin::V x(size);
    double next = 0.0;
    for (auto& cell : x) cell = Twin::cell(++next);
    return x;
}

/// Bit by bit, so that NaN and signs of zero count.
template <class Dense>
bool sameBits(const Dense& x, const Dense& y)
{
    return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(*x.data())) == 0;
}

template <class Twin>
class ViewsTest : public ::testing::Test {
};
using Twins = ::testing::Types<Real, ComplexCells>;
TYPED_TEST_SUITE(ViewsTest, Twins);

static_assert(std::ranges::contiguous_range<Matrix> && std::ranges::contiguous_range<const CMatrix>);
static_assert(std::ranges::contiguous_range<Vector> && std::ranges::sized_range<const CVector>);
static_assert(std::random_access_iterator<detail::StridedIterator<const double>>);
static_assert(std::is_convertible_v<Matrix&, std::span<double>>);
static_assert(!std::is_convertible_v<const Matrix&, std::span<double>>);
static_assert(std::is_convertible_v<const CVector&, std::span<const Complex>>);
// A matrix does not become a vector by way of its range.
static_assert(!std::is_constructible_v<Vector, Matrix> && !std::is_constructible_v<CVector, const CMatrix&>);
static_assert(!std::is_constructible_v<Vector, CVector>);
// What is read only stays so.
static_assert(std::is_same_v<decltype(std::declval<const Matrix&>().RowView(0)), VectorView<const double>>);
static_assert(!std::is_assignable_v<VectorView<const double>&, VectorView<const double>>);
static_assert(!std::is_convertible_v<VectorView<const double>, VectorView<double>>);

template <class T>
concept HasViews = requires(T&& A)
{
    std::forward<T>(A).RowView(0);
};
template <class T>
concept HasWholeView = requires(T&& A)
{
    std::forward<T>(A).View();
};
static_assert(HasViews<Matrix&> && HasViews<const CMatrix&> && HasWholeView<Vector&>);
static_assert(!HasViews<Matrix> && !HasViews<const CMatrix> && !HasWholeView<Matrix> &&
              !HasWholeView<CVector>);

TYPED_TEST(ViewsTest, CellsAreARangeInBlockOrder)
{
    using Cell = typename TypeParam::Cell;
    auto A = counted<TypeParam>(2, 3);
    EXPECT_EQ(A.size(), 6U);
    EXPECT_EQ(A.data(), reinterpret_cast<Cell*>(A.DataPtr()));
    const std::span<Cell> cells = A;
    cells[3] = Cell(50.0);
    EXPECT_EQ(A(1, 1), Cell(50.0));
    const auto& fixed = A;
    const std::span<const Cell> read = fixed;
    EXPECT_EQ(read.data(), A.data());
    EXPECT_EQ(std::accumulate(fixed.begin(), fixed.end(), Cell(0.0)),
              A.ColSum(0) + A.ColSum(1) + A.ColSum(2));

    typename TypeParam::V x = countedVector<TypeParam>(3);
    EXPECT_EQ(std::span<Cell>(x).size(), 3U);
    EXPECT_EQ(typename TypeParam::V(std::span<const Cell>(A.data(), 2))(1), A(1, 0));
    std::ranges::reverse(x);
    EXPECT_EQ(x(0), TypeParam::cell(3.0));
    EXPECT_FALSE(x.empty());
    EXPECT_TRUE(typename TypeParam::V(std::vector<Cell>{}).empty());
}

TYPED_TEST(ViewsTest, AReleasedObjectIsAnEmptyRange)
{
    auto A = counted<TypeParam>(2, 2);
    auto x = countedVector<TypeParam>(3);
    A.Dispose();
    x.Dispose();
    EXPECT_EQ(A.size(), 0U);
    EXPECT_EQ(std::distance(A.begin(), A.end()), 0);
    EXPECT_TRUE(x.empty());
    EXPECT_EQ(x.begin(), x.end());
}

TYPED_TEST(ViewsTest, RowsColumnsAndDiagonalsAreWrittenWhereTheyStand)
{
    using Cell = typename TypeParam::Cell;
    auto A = counted<TypeParam>(3, 4);
    A.RowView(1).Fill(Cell(0.0));
    A.ColView(3) = A.ColView(0);
    A.DiagonalView() *= Cell(2.0);
    EXPECT_EQ(A.DiagonalView().Length(), 3);
    const double expected[3][4] = {{2, 4, 7, 1}, {0, 0, 0, 0}, {3, 6, 18, 3}};
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 4; ++j) {
            const Cell cell = i == 1 && j < 3 ? Cell(0.0) : TypeParam::cell(expected[i][j]);
            EXPECT_EQ(A(i, j), cell) << i << ", " << j;
        }
    }
}

TYPED_TEST(ViewsTest, BlocksTakeMatricesAndOtherBlocks)
{
    using Cell = typename TypeParam::Cell;
    auto A = counted<TypeParam>(4, 5);
    const auto before = A;
    A.View(1, 2, 2, 3) = typename TypeParam::M(2, 3, Cell(7.0));
    EXPECT_EQ(A(1, 2), Cell(7.0));
    EXPECT_EQ(A(2, 2), Cell(0.0));
    EXPECT_EQ(A(0, 2), before(0, 2));
    EXPECT_EQ(A(3, 4), before(3, 4));
    A.View(1, 2, 2, 3) = before.View(1, 2, 2, 3);
    EXPECT_EQ(A, before);
    const typename TypeParam::M part = A.View(1, 1, 2, 2);
    EXPECT_EQ(part, A.SubMatrix(1, 2, 1, 2));
    A.View(0, 0, 2, 2) += part;
    EXPECT_EQ(A(1, 1), before(1, 1) + before(2, 2));
    A.View(0, 0, 2, 2) -= part;
    A.View(0, 0, 2, 2) /= Cell(2.0);
    EXPECT_EQ(A(0, 0), before(0, 0) / 2.0);
    const typename TypeParam::V row = before.RowView(2);
    EXPECT_EQ(row, before.RowVector(2));
    EXPECT_EQ(typename TypeParam::V(before.DiagonalView()), before.Diagonal());
}

TYPED_TEST(ViewsTest, QuotientsAreThoseOfVectors)
{
    using Cell = typename TypeParam::Cell;
    for (const double size : {49.0, -0.3, 1e300}) {
        const Cell divisor = TypeParam::cell(size) + Cell(0.7);
        auto A = counted<TypeParam>(7, 3);
        const auto before = A;
        A.View() /= divisor;
        for (int col = 0; col < 3; ++col) {
            const typename TypeParam::V expected = before.ColVector(col) / divisor;
            for (int row = 0; row < 7; ++row)
                EXPECT_EQ(A(row, col), expected(row)) << row << ", " << col << " by " << divisor;
        }
    }
}

TYPED_TEST(ViewsTest, OverlappingPartsAreReadBeforeTheyAreWritten)
{
    auto A = counted<TypeParam>(4, 4);
    const auto before = A;
    A.View(1, 1, 3, 3) = A.View(0, 0, 3, 3);
    EXPECT_EQ(typename TypeParam::M(A.View(1, 1, 3, 3)), before.SubMatrix(0, 2, 0, 2));
    A = before;
    A.View(0, 0, 3, 3) = A.View(1, 1, 3, 3);
    EXPECT_EQ(typename TypeParam::M(A.View(0, 0, 3, 3)), before.SubMatrix(1, 3, 1, 3));
    A = before;
    A.View() = A;
    A.View() -= A;
    EXPECT_EQ(A, typename TypeParam::M(4, 4));

    auto x = countedVector<TypeParam>(6);
    x.View(1, 5) = x.View(0, 5);
    for (int i = 1; i < 6; ++i) EXPECT_EQ(x(i), TypeParam::cell(i));
    x = countedVector<TypeParam>(6);
    x.View(0, 3, 2) = x.View(0, 3); // elements 0, 2, 4 from 0, 1, 2
    EXPECT_EQ(x(2), TypeParam::cell(2.0));
    EXPECT_EQ(x(4), TypeParam::cell(3.0));
    // A row of a matrix from its own column.
    A = before;
    A.RowView(0) = A.ColView(0);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(A(0, i), before(i, 0));
}

TYPED_TEST(ViewsTest, EdgesOfOneAndOfNoCells)
{
    using Cell = typename TypeParam::Cell;
    typename TypeParam::M one(1, 1);
    one.View() = typename TypeParam::M(1, 1, Cell(4.0));
    one.RowView(0) += one.ColView(0);
    EXPECT_EQ(one(0, 0), Cell(8.0));
    auto A = counted<TypeParam>(2, 3);
    const auto none = A.View(2, 0, 0, 3);
    none.Fill(Cell(1.0));
    EXPECT_EQ(none.Rows(), 0);
    EXPECT_TRUE(none.ColView(1).empty());
    EXPECT_EQ(none.ColView(1).ToVector().Length(), 0);
    EXPECT_THROW(none.ToMatrix(), InvalidSizeException);
    EXPECT_EQ(A, counted<TypeParam>(2, 3));
    typename TypeParam::V empty(std::vector<Cell>{});
    EXPECT_EQ(empty.View().Length(), 0);
    empty += empty;
    EXPECT_EQ(empty.Length(), 0);
}

TYPED_TEST(ViewsTest, FaultsNameSizesAndIndices)
{
    auto A = counted<TypeParam>(3, 4);
    auto x = countedVector<TypeParam>(4);
    expectFailure<IndexOutOfBoundsException>([&] { A.RowView(5); }, "Row 5 is outside 3 rows.");
    expectFailure<IndexOutOfBoundsException>([&] { A.ColView(-1); }, "Column -1 is outside 4 columns.");
    expectFailure<IndexOutOfBoundsException>([&] { A.View(2, 3, 2, 2); },
                                             "A block of 2 x 2 cells from (2, 3) on exceeds a 3 x 4 matrix.");
    expectFailure<IndexOutOfBoundsException>(
        [&] { A.View(1, 1, 2147483647, 1); },
        "A block of 2147483647 x 1 cells from (1, 1) on exceeds a 3 x 4 matrix.");
    expectFailure<IndexOutOfBoundsException>([&] { A.View()(0, 4); }, "Column 4 is outside 4 columns.");
    expectFailure<IndexOutOfBoundsException>([&] { x.View()(4); }, "Element 4 is outside 4 elements.");
    expectFailure<IndexOutOfBoundsException>([&] { x.View(1, 4); }, "Element 4 is outside 4 elements.");
    expectFailure<IndexOutOfBoundsException>([&] { x.View(0, 2147483647, 2147483647); },
                                             "Element 4611686011984936962 is outside 4 elements.");
    expectFailure<SizeMismatchException>([&] { A.View(0, 0, 2, 3) = A.View(0, 0, 3, 2); },
                                         "Matrix sizes do not match: 2 x 3 takes 3 x 2.");
    expectFailure<SizeMismatchException>([&] { A.RowView(0) = A.ColView(0); },
                                         "Vectors are not of the same size: 4 takes 3.");
    const std::array<typename TypeParam::Cell, 4> cells{};
    expectFailure<InvalidSizeException>(
        [&] {
            MatrixView<const typename TypeParam::Cell>{std::span(cells), 2, 3};
        },
        "A view of 4 cells cannot show 2 x 3 of them.");
    using Cell = const typename TypeParam::Cell;
    expectFailure<InvalidSizeException>( // nothing of it is read
        [&] { VectorView<Cell>(std::span<Cell>(cells.data(), std::size_t{1} << 32)); },
        "A view of 4294967296 cells is too long.");
    EXPECT_EQ(A, counted<TypeParam>(3, 4));
}

TYPED_TEST(ViewsTest, ForeignMemoryIsViewedToo)
{
    using Cell = typename TypeParam::Cell;
    std::vector<Cell> memory(12, Cell(1.0));
    const MatrixView<Cell> A{std::span<Cell>(memory), 3, 4};
    A.RowView(2) = std::vector<Cell>{Cell(1.0), Cell(2.0), Cell(3.0), Cell(4.0)};
    EXPECT_EQ(memory[8], Cell(3.0));
    const MatrixView<Cell> inner(memory.data() + 1, 2, 2, 6); // every second column
    inner.Fill(Cell(9.0));
    EXPECT_EQ(memory[1], Cell(9.0));
    EXPECT_EQ(memory[8], Cell(9.0));
    EXPECT_EQ(memory[4], Cell(1.0));
    const typename TypeParam::M copy = inner;
    EXPECT_EQ(copy, typename TypeParam::M(std::vector<Cell>(4, Cell(9.0)), 2, 2));
    VectorView<Cell>{std::span<Cell>(memory)}.Fill(Cell(0.0));
    EXPECT_EQ(memory, std::vector<Cell>(12));
}

TYPED_TEST(ViewsTest, IteratorsOfAViewServeTheAlgorithms)
{
    using Cell = typename TypeParam::Cell;
    auto A = counted<TypeParam>(3, 4);
    const auto row = A.RowView(1);
    EXPECT_EQ(row.end() - row.begin(), 4);
    EXPECT_EQ(row.begin()[2], A(1, 2));
    EXPECT_EQ(*(row.end() - 1), A(1, 3));
    EXPECT_EQ(std::accumulate(row.begin(), row.end(), Cell(0.0)), A.RowSum(1));
    std::ranges::reverse(row);
    EXPECT_EQ(A(1, 0), TypeParam::cell(11.0));
    std::rotate(row.begin(), row.begin() + 1, row.end());
    EXPECT_EQ(A(1, 0), TypeParam::cell(8.0));
}

TYPED_TEST(ViewsTest, CompoundAssignmentIsTheOperatorInPlace)
{
    using Cell = typename TypeParam::Cell;
    std::mt19937_64 generator(7);
    for (const Shape& shape : allShapes()) {
        auto A = randomMatrix<typename TypeParam::M>(shape, generator);
        const auto B = randomMatrix<typename TypeParam::M>(shape, generator);
        const auto block = A.data();
        auto expected = A + B;
        A += B;
        EXPECT_TRUE(sameBits(A, expected)) << shape;
        expected = A - B;
        A -= B;
        EXPECT_TRUE(sameBits(A, expected)) << shape;
        expected = A * TypeParam::cell(0.3);
        A *= TypeParam::cell(0.3);
        EXPECT_TRUE(sameBits(A, expected)) << shape;
        expected = A / TypeParam::cell(49.0);
        A /= TypeParam::cell(49.0);
        EXPECT_TRUE(sameBits(A, expected)) << shape;
        EXPECT_EQ(A.data(), block) << "in place";
        const auto square = randomMatrix<typename TypeParam::M>(Shape{shape.cols, shape.cols}, generator);
        expected = A * square;
        A *= square;
        EXPECT_TRUE(sameBits(A, expected)) << shape;
    }
    auto x = countedVector<TypeParam>(5);
    const typename TypeParam::V y(5, TypeParam::cell(0.7));
    for (const auto& step : std::initializer_list<int>{0, 1, 2, 3, 4, 5, 6, 7}) {
        const Cell alpha = TypeParam::cell(1.3);
        const auto expected = step == 0   ? x + y
                              : step == 1 ? x - y
                              : step == 2 ? x * y
                              : step == 3 ? x / y
                              : step == 4 ? x + alpha
                              : step == 5 ? x - alpha
                              : step == 6 ? x * alpha
                                          : x / alpha;
        if (step == 0) x += y;
        if (step == 1) x -= y;
        if (step == 2) x *= y;
        if (step == 3) x /= y;
        if (step == 4) x += alpha;
        if (step == 5) x -= alpha;
        if (step == 6) x *= alpha;
        if (step == 7) x /= alpha;
        EXPECT_TRUE(sameBits(x, expected)) << step;
    }
}

TYPED_TEST(ViewsTest, CompoundAssignmentMayMeetItself)
{
    using Cell = typename TypeParam::Cell;
    auto A = counted<TypeParam>(3, 3);
    const auto before = A;
    (A += A) -= before;
    EXPECT_EQ(A, before);
    A *= A;
    EXPECT_EQ(A, before * before);
    const auto& itself = A;
    A -= itself;
    EXPECT_EQ(A, typename TypeParam::M(3, 3));
    auto x = countedVector<TypeParam>(4);
    auto& self = x;
    x /= self;
    EXPECT_EQ(x, typename TypeParam::V(4, Cell(1.0)));
    x = self;
    x += x;
    EXPECT_EQ(x, typename TypeParam::V(4, Cell(2.0)));
    typename TypeParam::M one(1, 1, Cell(3.0));
    one *= one;
    EXPECT_EQ(one(0, 0), Cell(9.0));
}

TYPED_TEST(ViewsTest, NaNsAndInfinitiesTravel)
{
    using Cell = typename TypeParam::Cell;
    typename TypeParam::M A(2, 2, Cell(1.0));
    A(0, 1) = kNaN;
    A(1, 0) = kInf;
    const auto B = A;
    A += B;
    EXPECT_TRUE(std::isnan(std::real(A(0, 1))));
    EXPECT_EQ(std::real(A(1, 0)), kInf);
    A.View() -= B;
    EXPECT_TRUE(std::isnan(std::real(A(1, 0))));
    EXPECT_EQ(A(0, 0), Cell(1.0));
    typename TypeParam::V x(2, Cell(1.0));
    x /= Cell(0.0);
    EXPECT_FALSE(std::isfinite(std::real(x(0))));
}

TYPED_TEST(ViewsTest, ARefusedCompoundAssignmentLeavesAllAsItWas)
{
    using Cell = typename TypeParam::Cell;
    auto A = counted<TypeParam>(2, 3);
    auto x = countedVector<TypeParam>(3);
    expectFailure<SizeMismatchException>([&] { A += counted<TypeParam>(3, 2); },
                                         "Matrix sizes do not match: 2 x 3 plus 3 x 2.");
    expectFailure<SizeMismatchException>([&] { A -= counted<TypeParam>(2, 2); },
                                         "Matrix sizes do not match: 2 x 3 minus 2 x 2.");
    expectFailure<SizeMismatchException>([&] { A *= counted<TypeParam>(4, 1); },
                                         "Matrix sizes do not match: 2 x 3 times 4 x 1.");
    expectFailure<ArgumentException>([&] { A /= Cell(0.0); }, "Division by zero error");
    expectFailure<SizeMismatchException>([&] { x += countedVector<TypeParam>(4); },
                                         "Vectors are not of the same size: 3 plus 4.");
    expectFailure<SizeMismatchException>([&] { x /= countedVector<TypeParam>(2); },
                                         "Vectors are not of the same size: 3 divided by 2.");
    EXPECT_EQ(A, counted<TypeParam>(2, 3));
    EXPECT_EQ(x, countedVector<TypeParam>(3));

    const auto square = counted<TypeParam>(3, 3);
    const auto before = A;
    EXPECT_GT(failEachAllocation([&] { A *= square; }, [&] { return sameBits(A, before); }), 0);
    A = before;
    const auto overlapping = [&] { A.View(0, 1, 2, 2) = A.View(0, 0, 2, 2); };
    EXPECT_GT(failEachAllocation(overlapping, [&] { return sameBits(A, before); }), 0);
}

TYPED_TEST(ViewsTest, Identity)
{
    const auto I = TypeParam::M::Identity(3);
    EXPECT_EQ(I, identity<typename TypeParam::M>(3));
    EXPECT_EQ(TypeParam::M::Identity(1)(0, 0), typename TypeParam::Cell(1.0));
    EXPECT_THROW(TypeParam::M::Identity(0), InvalidSizeException);
}

// A view belongs to the block: a move takes both along, what frees the block ends the view.
TYPED_TEST(ViewsTest, AViewKnowsItsBlock)
{
    using Cell = typename TypeParam::Cell;
    auto A = counted<TypeParam>(2, 2);
    const auto row = A.RowView(0);
    const auto moved = std::move(A);
    EXPECT_EQ(row(1), moved(0, 1));
    if constexpr (detail::kHardened) {
        constexpr const char* outlived = "The view has outlived the block that it shows.";
        auto B = counted<TypeParam>(2, 2);
        const auto column = B.ColView(0);
        B.Resize(3, 3);
        expectFailure<InvalidOperationException>([&] { column.Fill(Cell(1.0)); }, outlived);
        const auto all = B.View();
        B.Dispose();
        expectFailure<InvalidOperationException>([&] { (void)all(0, 0); }, outlived);
        auto x = countedVector<TypeParam>(3);
        const auto part = x.View(0, 2);
        x = countedVector<TypeParam>(3); // perhaps at the same address
        expectFailure<InvalidOperationException>([&] { (void)part[0]; }, outlived);
    }
}

TEST(Print, WritesSoManySignificantDigits)
{
    std::ostringstream out;
    Matrix{{1.0 / 3.0, 100}, {-2, 1e-9}}.Print(out, 3);
    EXPECT_EQ(out.str(), "| 0.333   100 |\n|    -2 1E-09 |\n");
    out.str("");
    Vector{0.1, 2.0 / 3.0}.Print(out, 17);
    EXPECT_EQ(out.str(), "| 0.10000000000000001 0.66666666666666663 |\n");
    out.str("");
    CVector{Complex(1.0 / 3.0, -1)}.Print(out, 2);
    EXPECT_EQ(out.str(), "| (0.33,  -1i) |\n");
    expectFailure<ArgumentOutOfRangeException>([&] { Vector{1.0}.Print(out, 18); },
                                               "A number has 1 to 17 digits, not 18.");
    expectFailure<ArgumentOutOfRangeException>([&] { Matrix().Print(out, 0); },
                                               "A number has 1 to 17 digits, not 0.");
}

} // namespace
} // namespace Velmar::Lintrix::testing
