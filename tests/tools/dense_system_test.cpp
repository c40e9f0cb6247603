// Sizes that do not fit are refused, with the sizes in the message, before memory is taken.

#include <tests/support/matrices.h>
#include <tools/dense_system.h>
#include <tools/input_error.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;

MatrixMarketHeader headerOf(std::int32_t rows, std::int32_t cols, std::int64_t stored,
                            Form form = Form::Coordinate)
{
    MatrixMarketHeader header;
    header.file = "a.mtx";
    header.sizeLine = 7;
    header.form = form;
    header.rows = rows;
    header.cols = cols;
    header.stored = stored;
    return header;
}

template <class Check>
std::string refusalOf(Check check)
{
    try {
        check();
    } catch (const InputError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(RequireRoom, CellsMustBeCountableIn31Bits)
{
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(46340, 46340, 0), 1e15); }), "accepted");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(46341, 46341, 0), 1e15); }),
              "a.mtx:7: a dense 46341 x 46341 matrix has 2147488281 cells, more than 2147483647");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(1, 2147483647, 0), 1e15); }), "accepted");
}

TEST(RequireRoom, MatrixFactorsAndEntriesMustFitIntoMemory)
{
    // 2*8*1000^2 bytes and 16 for each of the 1000 entries.
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(1000, 1000, 1000), 16016000.0); }), "accepted");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(1000, 1000, 1000), 16015999.0); }),
              "a.mtx:7: a dense 1000 x 1000 matrix with its factors, from 1000 entries, takes 16.0 MB of "
              "memory, more "
              "than the 16.0 MB there are");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(20000, 20000, 5), 1e9); }),
              "a.mtx:7: a dense 20000 x 20000 matrix with its factors, from 5 entries, takes 6.4 GB of "
              "memory, more "
              "than the 1.0 GB there are");
}

TEST(RequireRoom, ArraysTakeHalfOfWhatCoordinatesTake)
{
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(100, 100, 10000, Form::Array), 240000.0); }), "accepted");
    EXPECT_NE(refusalOf([] { requireRoom(headerOf(100, 100, 10000), 240000.0); }), "accepted");
}

TEST(RequireRoom, RectangularMatricesNeedTheirTriangleBesides)
{
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(200, 100, 0), 2.0 * 8 * (20000 + 10000)); }), "accepted");
    EXPECT_NE(refusalOf([] { requireRoom(headerOf(100, 200, 0), 2.0 * 8 * (20000 + 10000) - 1); }),
              "accepted");
}

TEST(RequireRoom, AnAnnouncementNearTheLimitDoesNotWrap)
{
    EXPECT_EQ(
        refusalOf([] { requireRoom(headerOf(2, 2, INT64_MAX), 1e12); }),
        "a.mtx:7: a dense 2 x 2 matrix with its factors, from 9223372036854775807 entries, takes 147.6 EB of "
        "memory, more than the 1.0 TB there are");
}

TEST(RequireRoom, TheMachinesOwnMemoryIsTheDefault)
{
    EXPECT_GT(memoryLimit(), 1e8);
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(10, 10, 5)); }), "accepted");
}

TEST(RequireRoomBeside, RowsMustAgree)
{
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(4, 3, 0), headerOf(3, 1, 3)); }),
              "a.mtx:7: the right-hand side has 3 rows, the matrix 4");
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(4, 3, 0), headerOf(4, 9, 3)); }), "accepted");
}

TEST(RequireRoomBeside, AllColumnsAndTheSolutionsMustFit)
{
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(10, 4, 0), headerOf(10, 300000000, 0), 1e15); }),
              "a.mtx:7: 300000000 right-hand sides of a 10 x 4 matrix do not fit into memory");
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(10, 40, 0), headerOf(10, 9, 0), 12800.0); }),
              "accepted");
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(10, 40, 0), headerOf(10, 9, 0), 12799.0); }),
              "a.mtx:7: 9 right-hand sides of a 10 x 40 matrix do not fit into memory");
}

TEST(Assemble, EntriesAtOnePlaceAddUpAndMirroredOnesAreSet)
{
    MatrixMarket file;
    file.header = headerOf(3, 3, 4);
    file.header.symmetry = Symmetry::SkewSymmetric;
    file.coordinates = {{1, 0, 2.0}, {2, 1, 4.0}, {1, 0, 0.5}, {2, 0, -1.0}};
    EXPECT_TRUE(identical(assemble(file), Matrix{{0, -2.5, 1}, {2.5, 0, -4}, {-1, 4, 0}}));
}

TEST(Columns, AreCopiedOutAndIn)
{
    const Matrix A{{1, 2, 3}, {4, 5, 6}};
    EXPECT_TRUE(identical(columnOf(A, 1), Matrix{{2}, {5}}));
    Matrix target(2, 4);
    copyColumns(A, target, 1);
    EXPECT_TRUE(identical(target, Matrix{{0, 1, 2, 3}, {0, 4, 5, 6}}));
    EXPECT_TRUE(identical(filledWith(2.5, 2, 2), Matrix{{2.5, 2.5}, {2.5, 2.5}}));
}

} // namespace
} // namespace Velmar::Lintrix::testing
