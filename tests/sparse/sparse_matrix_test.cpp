// Life of SparseMatrix: constructors, copies, conversion, release.

#include "tests/sparse/sparse_support.h"

#include <any>
#include <climits>
#include <cmath>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

namespace Velmar::Lintrix {
namespace {

using namespace Velmar::Lintrix::testing;
using detail::SparseAccess;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::vector<double> kValues{1, 2, 3};
const std::vector<std::int32_t> kStarts{1, 3, 4}, kColumns{1, 3, 2}; // 1 0 2 / 0 3 0

SparseMatrix example()
{
    return SparseMatrix(kValues, kStarts, kColumns);
}

// ---- from sizes

TEST(SparseMatrix, DefaultIsOneByOneEmptyWithGrowFactorOne)
{
    const SparseMatrix A;
    EXPECT_EQ(A.Rows(), 1);
    EXPECT_EQ(A.Cols(), 1);
    EXPECT_EQ(A.NumElements(), 0);
    EXPECT_EQ(A.Capacity(), 1);
    EXPECT_EQ(A.GrowFactor(), 1.0F);
    EXPECT_FALSE(A.Symmetric());
}

TEST(SparseMatrix, SizesGiveAnEmptyMatrixWithTheDefaults)
{
    const SparseMatrix A(3, 5);
    EXPECT_EQ(A.Rows(), 3);
    EXPECT_EQ(A.Cols(), 5);
    EXPECT_EQ(A.Capacity(), 100);
    EXPECT_EQ(A.GrowFactor(), 1.2F);
    EXPECT_EQ(double{A.GrowFactor()}, 1.2000000476837158);
    EXPECT_THAT(startsOf(A), ElementsAre(1, 1, 1, 1));
    EXPECT_EQ(SparseMatrix(3, 5, 7).GrowFactor(), 1.2F);
}

TEST(SparseMatrix, RowCountWinsOverASmallerCapacity)
{
    EXPECT_EQ(SparseMatrix(5, 5, 2).Capacity(), 5);
    EXPECT_EQ(SparseMatrix(5, 9, 0).Capacity(), 5);
    EXPECT_EQ(SparseMatrix(5, 9, INT_MIN).Capacity(), 5);
    EXPECT_EQ(SparseMatrix(5, 9, 6).Capacity(), 6);
    EXPECT_EQ(SparseMatrix(200, 1).Capacity(), 200);
    EXPECT_EQ(SparseMatrix(200, true).Capacity(), 200);
}

TEST(SparseMatrix, SpareSlotsHoldZeroAndColumnMinusOne)
{
    for (const bool symmetric : {false, true}) {
        const SparseMatrix A(2, symmetric, 6, 1.0F);
        for (int k = A.NumElements(); k < 6; ++k) {
            EXPECT_EQ(SparseAccess::values(A)[k], 0.0);
            EXPECT_EQ(SparseAccess::columns(A)[k], -1);
        }
    }
}

TEST(SparseMatrix, SymmetricMatrixBeginsWithItsDiagonalOfStoredZeros)
{
    const SparseMatrix A(4, true);
    EXPECT_TRUE(A.Symmetric());
    EXPECT_EQ(A.NumElements(), 4);
    EXPECT_EQ(A.Capacity(), 100);
    EXPECT_THAT(startsOf(A), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(columnsOf(A), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(valuesOf(A), ElementsAre(0, 0, 0, 0));
    EXPECT_EQ(SparseMatrix(4, false).NumElements(), 0);
    EXPECT_EQ(SparseMatrix(4, true, 9, 3.0F).Capacity(), 9);
}

TEST(SparseMatrix, GrowFactorIsClampedToOneToFour)
{
    const std::vector<std::pair<float, float>> given{{9.0F, 4.0F}, {0.5F, 1.0F},     {-3.0F, 1.0F},
                                                     {4.0F, 4.0F}, {1.0F, 1.0F},     {2.5F, 2.5F},
                                                     {0.0F, 1.0F}, {INFINITY, 4.0F}, {-INFINITY, 1.0F}};
    SparseMatrix set(2, 2);
    for (const auto& [factor, clamped] : given) {
        EXPECT_EQ(SparseMatrix(2, 2, 10, factor).GrowFactor(), clamped);
        EXPECT_EQ(SparseMatrix(2, true, 10, factor).GrowFactor(), clamped);
        set.GrowFactor(factor);
        EXPECT_EQ(set.GrowFactor(), clamped);
    }
}

struct SizedConstructor {
    const char* name;
    std::function<void(int rows, int cols)> construct;
};
const std::vector<SizedConstructor> kSized{
    {"sizes", [](int rows, int cols) { SparseMatrix(rows, cols); }},
    {"capacity", [](int rows, int cols) { SparseMatrix(rows, cols, 3); }},
    {"grow factor", [](int rows, int cols) { SparseMatrix(rows, cols, 3, 2.0F); }},
};

TEST(SparseMatrix, SizesBelowOneAreRefusedRowsFirstBeforeAnythingIsAllocated)
{
    for (const SizedConstructor& sized : kSized) {
        SCOPED_TRACE(sized.name);
        for (const int bad : {0, -1, INT_MIN}) {
            expectRefusedUnallocated<InvalidSizeException>([&] { sized.construct(bad, 3); }, kInvalidRows);
            expectRefusedUnallocated<InvalidSizeException>([&] { sized.construct(bad, bad); }, kInvalidRows);
            expectRefusedUnallocated<InvalidSizeException>([&] { sized.construct(3, bad); }, kInvalidColumns);
        }
    }
    expectRefusedUnallocated<InvalidSizeException>([] { SparseMatrix(0, true); }, kInvalidRows);
    expectRefusedUnallocated<InvalidSizeException>([] { SparseMatrix(-2, true, 5, 1.0F); }, kInvalidRows);
}

TEST(SparseMatrix, LargestSizesPassTheCheck)
{
    const SparseMatrix wide(1, INT_MAX);
    EXPECT_EQ(wide.Cols(), INT_MAX);
    const FailingAllocator allocator(0);
    expectFailure<NotEnoughMemoryException>([] { SparseMatrix(INT_MAX, 1); }, kNoMemory);
}

// ---- from a dense matrix

TEST(SparseMatrix, FromDenseDropsWhatEqualsZero)
{
    const SparseMatrix A(Matrix{{0.0, 1.0, -0.0}, {kNaN, 0.0, 0.0}, {0.0, 0.0, 0.0}, {2.0, 3.0, 5e-324}});
    EXPECT_EQ(A.Rows(), 4);
    EXPECT_EQ(A.Cols(), 3);
    EXPECT_THAT(startsOf(A), ElementsAre(1, 2, 3, 3, 6));
    EXPECT_THAT(columnsOf(A), ElementsAre(2, 1, 1, 2, 3));
    EXPECT_TRUE(std::isnan(valuesOf(A)[1]));
    EXPECT_EQ(A(3, 2), 5e-324);
    EXPECT_FALSE(A.Symmetric());
}

TEST(SparseMatrix, FromDenseHasExactCapacityAndGrowFactorZero)
{
    const SparseMatrix A(Matrix{{1, 0}, {2, 3}});
    EXPECT_EQ(A.GrowFactor(), 0.0F);
    EXPECT_EQ(A.Capacity(), 3);
    EXPECT_EQ(A.NumElements(), 3);
    EXPECT_EQ(detail::blockBytes(SparseAccess::values(A)), 24u);
}

TEST(SparseMatrix, FromDenseZerosHasEmptyArraysOfTheSmallestBlock)
{
    const SparseMatrix A(Matrix(3, 2));
    EXPECT_EQ(A.NumElements(), 0);
    EXPECT_EQ(A.Capacity(), 0);
    EXPECT_EQ(detail::blockBytes(SparseAccess::values(A)), 16u);
    EXPECT_EQ(detail::blockBytes(SparseAccess::columns(A)), 16u);
}

TEST(SparseMatrix, FromDenseIsNotExaminedForSymmetry)
{
    EXPECT_FALSE(SparseMatrix(Matrix{{1, 2}, {2, 1}}).Symmetric());
    EXPECT_FALSE((std::is_convertible_v<Matrix, SparseMatrix>));
}

TEST(SparseMatrix, DenseRoundTripIsExactForEveryShape)
{
    for (const Shape& shape : allShapes()) {
        for (const double density : {0.0, 0.1, 1.0}) {
            SCOPED_TRACE(shape);
            const Matrix dense = sparsePattern(shape, density, 7);
            const SparseMatrix A(dense);
            expectCompressedRows(A);
            EXPECT_TRUE(identical(A.ToDense(), dense));
        }
    }
}

// ---- from arrays

TEST(SparseMatrix, ZeroBasedAndOneBasedArraysMeanTheSame)
{
    const SparseMatrix zero({1, 2}, {0, 1, 2}, {0, 3}), one({1, 2}, {1, 2, 3}, {1, 4});
    for (const SparseMatrix* A : {&zero, &one}) {
        EXPECT_EQ(A->Rows(), 2);
        EXPECT_EQ(A->Cols(), 4);
        EXPECT_EQ(A->Capacity(), 2);
        EXPECT_EQ(A->GrowFactor(), 1.2F);
        EXPECT_FALSE(A->Symmetric());
        EXPECT_THAT(startsOf(*A), ElementsAre(1, 2, 3));
        EXPECT_THAT(columnsOf(*A), ElementsAre(1, 4));
        EXPECT_THAT(valuesOf(*A), ElementsAre(1, 2));
    }
}

struct BadArrays {
    std::vector<double> A;
    std::vector<std::int32_t> IA, JA;
};

void expectArgument(const BadArrays& given, const char* text, const char* parameter)
{
    const auto construct = [&] { SparseMatrix(given.A, given.IA, given.JA); };
    expectRefusedUnallocated<ArgumentException>(construct, text);
    try {
        construct();
    } catch (const ArgumentException& e) {
        EXPECT_EQ(e.ParamName(), parameter);
    }
}

TEST(SparseMatrix, ArraysAreCheckedInOrder)
{
    const char* lengths = "Array JA should have equal size with array A";
    const char* base = "Arrays should be zero based or one based";
    const char* count = "Array IA defines different number of elements than array A";
    expectArgument({{1, 2}, {0, 1, 2}, {0}}, lengths, "JA");
    expectArgument({{1, 2}, {}, {0}}, lengths, "JA");
    expectArgument({{}, {2, 3}, {0}}, lengths, "JA");
    expectArgument({{1}, {2, 3}, {1}}, base, "IA");
    expectArgument({{1}, {-1, 0}, {0}}, base, "IA");
    expectArgument({{1, 2}, {2}, {1, 2}}, base, "IA");
    expectArgument({{1}, {0, 2}, {0}}, count, "");
    expectArgument({{1}, {1, 1}, {1}}, count, "");
    expectArgument({{1}, {1, INT_MIN}, {1}}, count, "");
    expectArgument({{1}, {0}, {INT_MAX}}, count, "");
    expectRefusedUnallocated<IndexOutOfRangeException>([] { SparseMatrix({1.0}, {}, {0}); },
                                                       IndexOutOfRangeException().what());
    expectRefusedUnallocated<InvalidSizeException>([] { SparseMatrix({}, {0}, {}); }, kInvalidRows);
    expectRefusedUnallocated<InvalidSizeException>([] { SparseMatrix({}, {1}, {}); }, kInvalidRows);
    expectRefusedUnallocated<InvalidSizeException>(
        [] {
            SparseMatrix({1}, {0, 1}, {INT_MAX});
        },
        kInvalidColumns);
}

TEST(SparseMatrix, EmptyArraysHaveOneColumnFromZeroAndNoneFromOne)
{
    const SparseMatrix A({}, {0, 0, 0}, {});
    EXPECT_EQ(A.Rows(), 2);
    EXPECT_EQ(A.Cols(), 1);
    EXPECT_EQ(A.NumElements(), 0);
    expectRefusedUnallocated<InvalidSizeException>([] { SparseMatrix({}, {1, 1, 1}, {}); }, kInvalidColumns);
}

TEST(SparseMatrix, HardenedBuildRefusesArraysThatAreNotCompressedRows)
{
    const std::vector<BadArrays> bad{
        {{1, 2}, {0, 2}, {1, 0}},             // not ascending
        {{1, 2}, {0, 2}, {1, 1}},             // twice
        {{1, 2}, {1, 3}, {0, 1}},             // below the base
        {{1, 2}, {0, 2}, {-1, 0}},            // below the base
        {{1, 2, 3}, {0, 3, 2, 3}, {0, 1, 2}}, // falling
        {{1, 2}, {0, 5, 2}, {0, 1}},          // beyond the end
        {{1, 2}, {0, -3, 2}, {0, 1}},         // before the beginning
    };
    for (const BadArrays& arrays : bad) {
        const auto construct = [&] { SparseMatrix(arrays.A, arrays.IA, arrays.JA); };
        if constexpr (detail::kHardened) {
            expectFailure<InvalidOperationException>(
                construct,
                "The arrays are not compressed rows: row pointers rise, columns ascend within a row.");
        } else {
            EXPECT_NO_THROW(construct()); // taken on trust
        }
    }
}

// ---- adopted arrays

TEST(SparseMatrix, AdoptedArraysReportOneMoreThanIsStored)
{
    const auto block = [](const auto& cells) {
        using Cell = typename std::decay_t<decltype(cells)>::value_type;
        return detail::Block<Cell>::copyOf(cells.data(), static_cast<std::int64_t>(cells.size()));
    };
    auto a = block(std::vector<double>{1, 2, 3, 0});
    const double* address = a.get();
    SparseMatrix A = SparseAccess::adopt<double>(
        2, 3, {std::move(a), block(kStarts), block(std::vector<std::int32_t>{1, 3, 2, 0})});
    EXPECT_EQ(SparseAccess::values(A), address);
    EXPECT_EQ(A.Capacity(), 4);
    EXPECT_EQ(A.NumElements(), 3);
    EXPECT_EQ(A.GrowFactor(), 1.2F);
    EXPECT_FALSE(A.Symmetric());
    A(1, 2) = 4; // into the spare slot
    EXPECT_EQ(A.Capacity(), 4);
    EXPECT_TRUE(identical(A.ToDense(), Matrix{{1, 0, 2}, {0, 3, 4}}));
    A(0, 1) = 5;
    EXPECT_EQ(A.Capacity(), 5);
    EXPECT_TRUE(identical(A.ToDense(), Matrix{{1, 5, 2}, {0, 3, 4}}));
}

TEST(SparseMatrix, AdoptedArraysWithoutTheSpareSlotAreGrownByTheFirstInsertion)
{
    SparseMatrix A = SparseAccess::adopt<double>(1, 3,
                                                 {detail::Block<double>::zeroed(2),
                                                  detail::Block<std::int32_t>::copyOf(kStarts.data(), 2),
                                                  detail::Block<std::int32_t>::copyOf(kColumns.data(), 2)});
    EXPECT_EQ(A.Capacity(), 3);
    A(0, 1) = 7;
    EXPECT_EQ(A.Capacity(), 3);
    EXPECT_GE(heldSlots(A), 3);
    EXPECT_THAT(columnsOf(A), ElementsAre(1, 2, 3));
}

// ---- copies, moves, release

TEST(SparseMatrix, CopyIsDeepAndKeepsFlagFactorAndCapacity)
{
    SparseMatrix A(3, true, 7, 2.0F);
    A(2, 0) = 5;
    const SparseMatrix B = A, C = A.Clone();
    const auto D = std::any_cast<SparseMatrix>(A.CloneableClone());
    const State state(A);
    A(0, 0) = 9;
    A.Symmetric(false);
    for (const SparseMatrix* copy : {&B, &C, &D}) EXPECT_EQ(State(*copy), state);
    EXPECT_TRUE(C.Symmetric());
}

TEST(SparseMatrix, CopyRaisesTheCapacityToTheRowCount)
{
    const SparseMatrix A(Matrix{{1}, {0}, {0}, {0}});
    EXPECT_EQ(A.Capacity(), 1);
    EXPECT_EQ(A.Clone().Capacity(), 4);
}

TEST(SparseMatrix, CopyKeepsAGrowFactorOfZero)
{
    EXPECT_EQ(SparseMatrix(Matrix{{1, 2}}).Clone().GrowFactor(), 0.0F);
}

TEST(SparseMatrix, CopyOfAMatrixWithoutRowsOrColumnsIsRefused)
{
    if constexpr (!detail::kHardened) {
        SparseMatrix A = example(), B = example();
        A.Rows(0);
        B.Cols(0);
        expectRefusedUnallocated<InvalidSizeException>([&] { SparseMatrix copy(A); }, kInvalidRows);
        expectRefusedUnallocated<InvalidSizeException>([&] { SparseMatrix copy(B); }, kInvalidColumns);
    }
}

TEST(SparseMatrix, MoveTakesTheArraysAndLeavesTheSizesReadable)
{
    static_assert(std::is_nothrow_move_constructible_v<SparseMatrix>);
    SparseMatrix A = example();
    const State state(A);
    const double* address = SparseAccess::values(A);
    const SparseMatrix B = std::move(A);
    EXPECT_EQ(SparseAccess::values(B), address);
    EXPECT_EQ(State(B), state);
    EXPECT_EQ(A.Rows(), 2);
    EXPECT_EQ(A.Cols(), 3);
    A = B; // new contents
    EXPECT_EQ(State(A), state);
}

TEST(SparseMatrix, AssignmentCopiesOrMovesAlsoToItself)
{
    SparseMatrix A = example(), B(5, true);
    const State state(A);
    B = A;
    EXPECT_EQ(State(B), state);
    const SparseMatrix& alias = B;
    B = alias;
    EXPECT_EQ(State(B), state);
    SparseMatrix C;
    C = std::move(B);
    EXPECT_EQ(State(C), state);
}

TEST(SparseMatrix, DisposeReleasesAtOnceAndMayBeRepeated)
{
    const std::int64_t before = TrellConfiguration::TotalMemory();
    SparseMatrix A(10, 20);
    EXPECT_EQ(TrellConfiguration::TotalMemory() - before, 11 * 4 + 100 * 4 + 100 * 8);
    A.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    A.Dispose();
    EXPECT_EQ(TrellConfiguration::TotalMemory(), before);
    EXPECT_EQ(A.Rows(), 10);
    EXPECT_EQ(A.Cols(), 20);
}

TEST(SparseMatrix, UseAfterReleaseIsNoticedByTheMissingRowPointers)
{
    SparseMatrix A = example();
    A.Dispose();
    const std::vector<std::function<void()>> uses{
        [&] { (void)A.NumElements(); },
        [&] { (void)A.Item(0, 0); },
        [&] { A(0, 0) = 1.0; },
        [&] { A.Capacity(100); },
        [&] { A.Rows(5); },
        [&] { A.Cols(5); },
        [&] { A.Cols(1); },
        [&] { A.RemoveZeros(); },
        [&] { A.FillRandom(); },
        [&] { (void)A.ToDense(); },
        [&] { (void)A.Clone(); },
        [&] { (void)A.Data(); },
        [&] { (void)ToArchive(A); },
        [&] { (void)A.RowPointers(); },
        [&] { (void)A.Values(); },
        [&] { (void)A.ColumnIndices(); },
    };
    for (std::size_t k = 0; k < uses.size(); ++k) {
        SCOPED_TRACE(k);
        expectFailure<InvalidOperationException>(uses[k], kReleased);
    }
    EXPECT_EQ(A.Rows(), 2);
}

TEST(SparseMatrix, ConstructorsLeakNothingWhenMemoryIsRefused)
{
    const SparseMatrix source = example();
    const Matrix dense{{1, 0}, {2, 3}};
    const auto untouched = [&, state = State(source)] { return State(source) == state; };
    EXPECT_EQ(failEachAllocation([] { SparseMatrix(); }, untouched), 3);
    EXPECT_EQ(failEachAllocation([] { SparseMatrix(3, true); }, untouched), 3);
    EXPECT_EQ(failEachAllocation([&] { SparseMatrix copy(source); }, untouched), 3);
    EXPECT_EQ(failEachAllocation([] { example(); }, untouched), 3);
    EXPECT_EQ(failEachAllocation([&] { SparseMatrix A(dense); }, untouched), 4);
    EXPECT_EQ(failEachAllocation([&] { (void)source.ToDense(); }, untouched), 1);
    SparseMatrix target(2, 2);
    EXPECT_EQ(failEachAllocation([&] { target = source; }, untouched), 3);
}

// ---- to dense

TEST(SparseMatrix, ToDenseOfASymmetricMatrixHasBothTriangles)
{
    SparseMatrix A(3, true);
    A(0, 0) = 1;
    A(2, 0) = 5;
    A(1, 2) = kNaN;
    const Matrix dense = A.ToDense();
    EXPECT_TRUE(identical(dense, Matrix{{1, 0, 5}, {0, 0, kNaN}, {5, kNaN, 0}}));
}

TEST(SparseMatrix, ToDenseWritesStoredZerosAndReadsTheTriangleThatIsThere)
{
    SparseMatrix A = SparseMatrix({1, -0.0, 3}, {0, 2, 3}, {0, 1, 1});
    EXPECT_TRUE(std::signbit(A.ToDense()(0, 1)));
    A.Symmetric(true);
    EXPECT_TRUE(std::signbit(A.ToDense()(1, 0)));
}

TEST(SparseMatrix, ToDenseRefusesMoreCellsThanAMatrixCounts)
{
    const SparseMatrix A(65536, 65536);
    expectRefusedUnallocated<InvalidSizeException>([&] { (void)A.ToDense(); }, InvalidSizeException().what());
}

TEST(SparseMatrix, ToDenseOfANonSquareSymmetricMatrixIsRefusedByTheDenseMatrix)
{
    SparseMatrix A = example();
    A.Symmetric(true);
    expectFailure<IndexOutOfBoundsException>([&] { (void)A.ToDense(); }, "Row index exceeds matrix size.");
}

} // namespace
} // namespace Velmar::Lintrix
