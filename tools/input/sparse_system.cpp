#include <tools/input/sparse_system.h>

#include <tools/input/dense_system.h>
#include <tools/input/matrix_facts.h>
#include <tools/support/input_error.h>
#include <tools/support/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

template <class Matrix>
using CellOf = std::decay_t<decltype(std::declval<const Matrix&>().Item(0, 0))>;

template <class Matrix, class Cell = CellOf<Matrix>>
std::vector<Cell> diagonalOf(const Matrix& matrix)
{
    std::vector<Cell> diagonal(static_cast<std::size_t>(matrix.Rows()));
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const Cell& value) {
        if (row == col) diagonal[static_cast<std::size_t>(row)] = value;
    });
    return diagonal;
}

/// Every 2 x 2 minor that stands on the diagonal of a hermitian matrix is positive. Roots, not products:
/// those may overflow.
template <class Matrix, class Cell>
bool looksPositive(const Matrix& matrix, const std::vector<Cell>& diagonal)
{
    if (!std::ranges::all_of(diagonal, [](const Cell& value) { return std::real(value) > 0.0; }))
        return false;
    std::vector<double> roots(diagonal.size());
    std::ranges::transform(diagonal, roots.begin(),
                           [](const Cell& value) { return std::sqrt(std::real(value)); });
    bool positive = true;
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const Cell& value) {
        const double bound = roots[static_cast<std::size_t>(row)] * roots[static_cast<std::size_t>(col)];
        positive &= row == col || std::abs(value) < bound;
    });
    return positive;
}

/// |a_ii| is at least the sum of the other magnitudes, in every row or in every column, but for rounding.
template <class Matrix, class Cell>
bool isDominant(const Matrix& full, const std::vector<Cell>& diagonal)
{
    std::vector<double> rowSums(diagonal.size()), colSums(diagonal.size());
    forEachEntry(full, [&](std::int32_t row, std::int32_t col, const Cell& value) {
        if (row == col) return;
        rowSums[static_cast<std::size_t>(row)] += std::abs(value);
        colSums[static_cast<std::size_t>(col)] += std::abs(value);
    });
    const auto bounded = [](double sum, const Cell& element) { return sum <= 1.000001 * std::abs(element); };
    return std::ranges::equal(rowSums, diagonal, bounded) || std::ranges::equal(colSums, diagonal, bounded);
}

/// A triangle is what it is said to be: symmetric, and its numbers real.
template <class Matrix>
Symmetry symmetryOfEither(const Matrix& matrix)
{
    if (isTriangle(matrix)) return {.pattern = true, .values = true, .conjugated = true};
    return symmetryOf(matrix);
}

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

/// The elements, and vectors for the rows.
double bytesBefore(const MatrixMarketHeader& matrix, double rightHands, bool complex)
{
    const double cell = bytesOfCell(complex);
    return bytesOfElements(matrix, cell) + matrix.rows * (16.0 + 3.0 * cell * (rightHands + 1.0));
}

// The direct solver takes a matrix with one element a row for a diagonal one, and refuses fewer;
// its check of the arrays, which the hardened build always makes, refuses empty rows.
template <class Matrix>
bool isTooSparse(const Matrix& matrix)
{
    const auto starts = matrix.RowPointers();
    return matrix.NumElements() <= matrix.Rows() || std::ranges::adjacent_find(starts) != starts.end();
}

} // namespace

template <class Matrix>
Traits traitsOf(const Matrix& matrix)
{
    using Cell = CellOf<Matrix>;
    Traits traits;
    const Symmetry symmetry = symmetryOfEither(matrix);
    traits.symmetric = symmetry.values;
    traits.hermitian = symmetry.conjugated;
    traits.symmetricPattern = symmetry.pattern;
    const std::vector<Cell> diagonal = diagonalOf(matrix);
    traits.fullDiagonal = std::ranges::find(diagonal, Cell()) == diagonal.end();
    if (!traits.fullDiagonal) return traits;
    traits.positiveLooking = traits.hermitian && looksPositive(matrix, diagonal);
    traits.dominant = !traits.mirrored() && isDominant(matrix, diagonal);
    return traits;
}

template <class Cell>
SparseSystem<Cell>::SparseSystem(SparseRows<Cell> matrix) : size_(matrix.Rows()), traits_(traitsOf(matrix))
{
    if (isTriangle(matrix)) {
        upper_ = std::move(matrix);
    } else {
        full_ = isTooSparse(matrix) ? withDiagonal<Cell>(matrix) : std::move(matrix);
    }
}

template <class Cell>
SparseRows<Cell>& SparseSystem<Cell>::upper()
{
    if (!upper_) upper_ = upperTriangleOf<Cell>(*full_);
    return *upper_;
}

template <class Cell>
SparseRows<Cell>& SparseSystem<Cell>::full()
{
    if constexpr (!kIsComplex<Cell>) { // a complex one is there from the start
        if (!full_) full_ = bothTrianglesOf(*upper_);
    }
    return *full_;
}

template Traits traitsOf(const SparseMatrix&);
template Traits traitsOf(const CSparseMatrix&);
template class SparseSystem<double>;
template class SparseSystem<ComplexNumber>;

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
    const double cells = matrix.rows * (rightHands.cols + 1.0); // a right-hand side is added
    if (cells <= INT32_MAX && bytesBefore(matrix, rightHands.cols, complex) <= memory) return;
    throw InputError(rightHands.file, rightHands.sizeLine,
                     fmt::format("{} right-hand sides of a {} x {} matrix do not fit into memory",
                                 rightHands.cols, matrix.rows, matrix.cols));
}

} // namespace Velmar::Lintrix::tools
