#include <tools/input/dense_system.h>

#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>

namespace Velmar::Lintrix::tools {

namespace {

/// In floating point: no announced number can wrap it.
double bytesFor(std::uint64_t cells, std::size_t cellBytes)
{
    return static_cast<double>(cells) * static_cast<double>(cellBytes);
}

[[noreturn]] void refuse(const MatrixMarketHeader& file, const std::string& text)
{
    throw InputError(file.file, file.sizeLine, text);
}

std::uint64_t product(std::int32_t rows, std::int32_t cols)
{
    return static_cast<std::uint64_t>(rows) * static_cast<std::uint64_t>(cols);
}

} // namespace

bool isSmall(std::int32_t rows, std::int32_t cols)
{
    constexpr std::int32_t kSmallerSide = 1000;
    constexpr std::uint64_t kCells = 4'000'000;
    return std::min(rows, cols) <= kSmallerSide && product(rows, cols) <= kCells;
}

void requireRoom(const MatrixMarketHeader& matrix, double memory, std::size_t cellBytes)
{
    const std::uint64_t cells = product(matrix.rows, matrix.cols);
    if (cells > INT32_MAX) {
        refuse(matrix, fmt::format("a dense {} x {} matrix has {} cells, more than {}", matrix.rows,
                                   matrix.cols, cells, INT32_MAX));
    }
    // The matrix and its factors; of a rectangular one also the triangle and its factors.
    const std::int32_t p = std::min(matrix.rows, matrix.cols);
    const std::uint64_t held = 2 * cells + (matrix.rows == matrix.cols ? 0 : 2 * product(p, p));
    const double bytes = bytesFor(held, cellBytes);
    if (bytes > memory) {
        refuse(matrix,
               fmt::format(
                   "a dense {} x {} matrix with its factors takes {} of memory, more than the {} there are",
                   matrix.rows, matrix.cols, bytesInWords(bytes), bytesInWords(memory)));
    }
}

void requireRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands, double memory,
                       std::size_t cellBytes)
{
    requireSameRows(matrix, rightHands);
    // One column more than the file has: the solver adds a right-hand side of its own.
    const std::uint64_t cells = (static_cast<std::uint64_t>(rightHands.cols) + 1) *
                                static_cast<std::uint64_t>(std::max(matrix.rows, matrix.cols));
    if (cells > INT32_MAX || bytesFor(4 * cells, cellBytes) > memory) {
        refuse(rightHands, fmt::format("{} right-hand sides of a {} x {} matrix do not fit into memory",
                                       rightHands.cols, matrix.rows, matrix.cols));
    }
}

void requireSameRows(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands)
{
    if (rightHands.rows == matrix.rows) return;
    refuse(rightHands,
           fmt::format("the right-hand side has {} rows, the matrix {}", rightHands.rows, matrix.rows));
}

} // namespace Velmar::Lintrix::tools
