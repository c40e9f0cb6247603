// Sizes that do not fit are refused, with the sizes in the message, before memory is taken.

#include <tests/support/matrices.h>
#include <tools/input/dense_system.h>
#include <tools/support/input_error.h>

#include <gtest/gtest.h>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;

MatrixMarketHeader headerOf(std::int32_t rows, std::int32_t cols)
{
    MatrixMarketHeader header;
    header.file = "a.mtx";
    header.sizeLine = 7;
    header.rows = rows;
    header.cols = cols;
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
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(46340, 46340), 1e15); }), "accepted");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(46341, 46341), 1e15); }),
              "a.mtx:7: a dense 46341 x 46341 matrix has 2147488281 cells, more than 2147483647");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(1, 2147483647), 1e15); }), "accepted");
}

TEST(RequireRoom, MatrixAndFactorsMustFitIntoMemory)
{
    // 2*8*1000^2 bytes.
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(1000, 1000), 16000000.0); }), "accepted");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(1000, 1000), 15999999.0); }),
              "a.mtx:7: a dense 1000 x 1000 matrix with its factors takes 16.0 MB of memory, more than the "
              "16.0 MB there are");
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(20000, 20000), 1e9); }),
              "a.mtx:7: a dense 20000 x 20000 matrix with its factors takes 6.4 GB of memory, more than the "
              "1.0 GB there are");
}

TEST(RequireRoom, RectangularMatricesNeedTheirTriangleBesides)
{
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(200, 100), 2.0 * 8 * (20000 + 10000)); }), "accepted");
    EXPECT_NE(refusalOf([] { requireRoom(headerOf(100, 200), 2.0 * 8 * (20000 + 10000) - 1); }), "accepted");
}

TEST(RequireRoom, TheMachinesOwnMemoryIsTheDefault)
{
    EXPECT_GT(MemoryLimit(), 1e8);
    EXPECT_EQ(refusalOf([] { requireRoom(headerOf(10, 10)); }), "accepted");
}

TEST(RequireRoomBeside, RowsMustAgree)
{
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(4, 3), headerOf(3, 1)); }),
              "a.mtx:7: the right-hand side has 3 rows, the matrix 4");
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(4, 3), headerOf(4, 9)); }), "accepted");
}

TEST(RequireRoomBeside, AllColumnsAndTheSolutionsMustFit)
{
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(10, 4), headerOf(10, 300000000), 1e15); }),
              "a.mtx:7: 300000000 right-hand sides of a 10 x 4 matrix do not fit into memory");
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(10, 40), headerOf(10, 9), 12800.0); }), "accepted");
    EXPECT_EQ(refusalOf([] { requireRoomBeside(headerOf(10, 40), headerOf(10, 9), 12799.0); }),
              "a.mtx:7: 9 right-hand sides of a 10 x 40 matrix do not fit into memory");
}

TEST(Columns, AreFilled)
{
    EXPECT_TRUE(identical(filledWith(2.5, 2, 2), Matrix{{2.5, 2.5}, {2.5, 2.5}}));
}

} // namespace
} // namespace Velmar::Lintrix::testing
