#include <tools/input/sparse_room.h>

#include <tools/input/dense_system.h>
#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>

namespace Velmar::Lintrix::tools {

namespace {

/// Elements with their indices, in the file's form, in the assembler and in the matrix.
double bytesOfElements(const MatrixMarketHeader& matrix, double cell)
{
    const double mirrored = matrix.symmetry == MatrixMarketSymmetry::General ? 1.0 : 2.0;
    return (2.0 * cell + 12.0) * mirrored * static_cast<double>(matrix.stored);
}

double bytesOfCell(bool complex)
{
    return complex ? sizeof(ComplexNumber) : sizeof(double);
}

/// The elements, and vectors for the rows; of a matrix that is not square the elements again by columns, and
/// vectors for these.
double bytesBefore(const MatrixMarketHeader& matrix, double rightHands, bool complex)
{
    const double cell = bytesOfCell(complex), rows = matrix.rows;
    const bool square = matrix.rows == matrix.cols;
    const double turned = square ? 0.0 : (cell + 4.0) * static_cast<double>(matrix.stored);
    return bytesOfElements(matrix, cell) + turned +
           (square ? rows : rows + matrix.cols) * (16.0 + 3.0 * cell * (rightHands + 1.0));
}

} // namespace

void requireMatrixRoom(const MatrixMarketHeader& matrix, double beside, double memory)
{
    constexpr double kVectors = 16.0; // bytes a row or column: where they begin, how far they are, their norm
    const double bytes =
        bytesOfElements(matrix, bytesOfCell(matrix.field == MatrixMarketField::ComplexNumber)) +
        kVectors * (static_cast<double>(matrix.rows) + matrix.cols) + beside;
    if (bytes <= memory) return;
    throw InputError(
        matrix.file, matrix.sizeLine,
        fmt::format("a sparse {} x {} matrix takes {} of memory with what is made of it, more than "
                    "the {} there are",
                    matrix.rows, matrix.cols, bytesInWords(bytes), bytesInWords(memory)));
}

void requireSparseRoom(const MatrixMarketHeader& matrix, double memory, bool complex)
{
    const double bytes = bytesBefore(matrix, 1.0, complex);
    if (bytes <= memory) return;
    throw InputError(matrix.file, matrix.sizeLine,
                     fmt::format("a sparse {} x {} system takes {} of memory before it is factorized, more "
                                 "than the {} there are",
                                 matrix.rows, matrix.cols, bytesInWords(bytes), bytesInWords(memory)));
}

void requireSparseRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands,
                             double memory, bool complex)
{
    requireSameRows(matrix, rightHands);
    const double cells = std::max(matrix.rows, matrix.cols) * (rightHands.cols + 1.0); // one more is added
    if (cells <= INT32_MAX && bytesBefore(matrix, rightHands.cols, complex) <= memory) return;
    throw InputError(rightHands.file, rightHands.sizeLine,
                     fmt::format("{} right-hand sides of a {} x {} matrix do not fit into memory",
                                 rightHands.cols, matrix.rows, matrix.cols));
}

} // namespace Velmar::Lintrix::tools
