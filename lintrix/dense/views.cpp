#include <lintrix/dense/views.h>

#include <lintrix/foundation/failures.h>
#include <lintrix/services/lapack.h>

#include <limits>
#include <string>

namespace Velmar::Lintrix::detail {

namespace {

std::string sizes(std::int64_t rows, std::int64_t cols)
{
    return std::to_string(rows) + " x " + std::to_string(cols);
}

/// Row 5 of 3 rows.
std::string plural(std::string_view what)
{
    std::string words(what);
    words[0] = static_cast<char>(words[0] - 'A' + 'a');
    return words + "s";
}

} // namespace

std::complex<double> cellQuotient(const std::complex<double>& x, const std::complex<double>& y) noexcept
{
    double real = 0.0, imaginary = 0.0;
    lapack::ladiv(x.real(), x.imag(), y.real(), y.imag(), real, imaginary);
    return {real, imaginary};
}

void raiseOutside(std::string_view what, std::int64_t index, std::int64_t count)
{
    throw IndexOutOfBoundsException(std::string(what) + " " + std::to_string(index) + " is outside " +
                                    std::to_string(count) + " " + plural(what) + ".");
}

void raiseBlockOutside(std::int64_t row, std::int64_t col, std::int64_t rows, std::int64_t cols,
                       std::int64_t allRows, std::int64_t allCols)
{
    throw IndexOutOfBoundsException("A block of " + sizes(rows, cols) + " cells from (" +
                                    std::to_string(row) + ", " + std::to_string(col) + ") on exceeds a " +
                                    sizes(allRows, allCols) + " matrix.");
}

void raiseShapes(std::string_view operation, std::int64_t rows, std::int64_t cols, std::int64_t otherRows,
                 std::int64_t otherCols)
{
    throw SizeMismatchException("Matrix sizes do not match: " + sizes(rows, cols) + " " +
                                std::string(operation) + " " + sizes(otherRows, otherCols) + ".");
}

void raiseLengths(std::string_view operation, std::int64_t length, std::int64_t other)
{
    throw SizeMismatchException("Vectors are not of the same size: " + std::to_string(length) + " " +
                                std::string(operation) + " " + std::to_string(other) + ".");
}

std::int32_t viewLength(std::size_t cells)
{
    if (cells > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max()))
        throw InvalidSizeException("A view of " + std::to_string(cells) + " cells is too long.");
    return static_cast<std::int32_t>(cells);
}

void raiseViewSize(std::int64_t cells, std::int64_t rows, std::int64_t cols)
{
    throw InvalidSizeException("A view of " + std::to_string(cells) + " cells cannot show " +
                               sizes(rows, cols) + " of them.");
}

} // namespace Velmar::Lintrix::detail
