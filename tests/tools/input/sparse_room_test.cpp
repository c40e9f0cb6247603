// Sparse systems that do not fit.

#include <tests/support/matrices.h>
#include <tools/input/sparse_room.h>
#include <tools/support/input_error.h>

#include <gtest/gtest.h>

#include <string>

namespace Velmar::Lintrix::testing {
namespace {

using namespace tools;

std::string refusalOf(Shape shape, std::int64_t stored, double memory, bool complex = false)
{
    MatrixMarketHeader header;
    header.file = "a.mtx";
    header.sizeLine = 7;
    header.rows = shape.rows;
    header.cols = shape.cols;
    header.stored = stored;
    try {
        requireSparseRoom(header, memory, complex);
    } catch (const InputError& error) {
        return error.what();
    }
    return "accepted";
}

std::string refusalOf(std::int32_t size, std::int64_t stored, double memory, bool complex = false)
{
    return refusalOf(Shape{size, size}, stored, memory, complex);
}

TEST(RequireSparseRoom, ElementsAndVectorsMustFit)
{
    // 28 bytes an element, 64 a row.
    EXPECT_EQ(refusalOf(1000, 5000, 204000.0), "accepted");
    EXPECT_EQ(refusalOf(1000, 5000, 203999.0),
              "a.mtx:7: a sparse 1000 x 1000 system takes 204.0 kB of memory before it is factorized, more "
              "than the 204.0 kB there are");
    EXPECT_NE(refusalOf(2147483647, 1, 1e11), "accepted");
    // Complex: 44 bytes an element, 112 a row.
    EXPECT_EQ(refusalOf(1000, 5000, 332000.0, true), "accepted");
    EXPECT_NE(refusalOf(1000, 5000, 331999.0, true), "accepted");
}

TEST(RequireSparseRoom, RectanglesAreHeldByRowsAndByColumns)
{
    // 28 bytes an element and 12 of its copy, 64 a row or column.
    for (const Shape shape : {Shape{1000, 300}, Shape{300, 1000}}) {
        EXPECT_EQ(refusalOf(shape, 5000, 283200.0), "accepted");
        EXPECT_NE(refusalOf(shape, 5000, 283199.0), "accepted");
        // Complex: 44 and 20 bytes, 112 a row or column.
        EXPECT_EQ(refusalOf(shape, 5000, 465600.0, true), "accepted");
        EXPECT_NE(refusalOf(shape, 5000, 465599.0, true), "accepted");
    }
    EXPECT_EQ(refusalOf(Shape{2147483647, 2147483646}, 1, 1e11),
              "a.mtx:7: a sparse 2147483647 x 2147483646 system takes 274.9 GB of memory before it is "
              "factorized, more than the 100.0 GB there are");
}

TEST(RequireSparseRoom, RightHandSidesMustFitTheMatrixAndTheMemory)
{
    MatrixMarketHeader matrix, rightHands;
    matrix.rows = matrix.cols = 1000;
    rightHands.file = "b.mtx";
    rightHands.sizeLine = 2;
    const auto refusal = [&](std::int32_t rows, std::int32_t cols) -> std::string {
        rightHands.rows = rows;
        rightHands.cols = cols;
        try {
            requireSparseRoomBeside(matrix, rightHands, 1e6);
        } catch (const InputError& error) {
            return error.what();
        }
        return "accepted";
    };
    EXPECT_EQ(refusal(1000, 40), "accepted");
    EXPECT_EQ(refusal(1000, 41),
              "b.mtx:2: 41 right-hand sides of a 1000 x 1000 matrix do not fit into memory");
    EXPECT_EQ(refusal(999, 1), "b.mtx:2: the right-hand side has 999 rows, the matrix 1000");
}

} // namespace
} // namespace Velmar::Lintrix::testing
