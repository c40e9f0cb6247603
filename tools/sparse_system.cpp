#include <tools/sparse_system.h>

#include <tools/dense_system.h>
#include <tools/input_error.h>
#include <tools/matrix_facts.h>
#include <tools/text.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::tools {

namespace {

/// Compressed rows under construction: lengths first, then elements, row by row in ascending columns.
class Rows {
public:
    explicit Rows(std::int32_t size) : starts_(static_cast<std::size_t>(size) + 1, 0) {}

    void count(std::int32_t row) { ++starts_[static_cast<std::size_t>(row) + 1]; }
    void finishCounting()
    {
        for (std::size_t i = 1; i < starts_.size(); ++i) starts_[i] += starts_[i - 1];
        cursor_.assign(starts_.begin(), starts_.end() - 1);
        cols_.resize(static_cast<std::size_t>(starts_.back()));
        values_.resize(cols_.size());
    }
    void put(std::int32_t row, std::int32_t col, double value)
    {
        const auto slot = static_cast<std::size_t>(cursor_[static_cast<std::size_t>(row)]++);
        cols_[slot] = col;
        values_[slot] = value;
    }
    SparseMatrix matrix() const { return SparseMatrix(values_, starts_, cols_); }

private:
    std::vector<std::int32_t> starts_, cursor_{}, cols_{};
    std::vector<double> values_{};
};

/// Visits the elements twice: for the lengths of the rows and for their contents.
template <class Visit>
SparseMatrix built(std::int32_t size, Visit visit)
{
    Rows rows(size);
    visit([&rows](std::int32_t row, std::int32_t, double) { rows.count(row); });
    rows.finishCounting();
    visit([&rows](std::int32_t row, std::int32_t col, double value) { rows.put(row, col, value); });
    return rows.matrix();
}

/// Every row begins with its diagonal, also where none is stored.
SparseMatrix upperTriangleOf(const SparseMatrix& full)
{
    SparseMatrix upper = built(full.Rows(), [&full](auto take) {
        std::int32_t next = 0; // row whose diagonal is still to come
        forEachEntry(full, [&](std::int32_t row, std::int32_t col, double value) {
            if (col < row) return;
            for (; next < row || (next == row && col > row); ++next) take(next, next, 0.0);
            if (col == row) ++next;
            take(row, col, value);
        });
        for (; next < full.Rows(); ++next) take(next, next, 0.0);
    });
    upper.Symmetric(true);
    return upper;
}

/// A column of the triangle is met in ascending rows, and row i of it after all columns i: each row of the
/// result fills from the left.
SparseMatrix bothTrianglesOf(const SparseMatrix& upper)
{
    return built(upper.Rows(), [&upper](auto take) {
        forEachEntry(upper, [&](std::int32_t row, std::int32_t col, double value) {
            take(row, col, value);
            if (row != col) take(col, row, value);
        });
    });
}

bool isDiagonal(const SparseMatrix& matrix)
{
    bool diagonal = true;
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, double) { diagonal &= row == col; });
    return diagonal;
}

/// With zeros where the diagonal has no element.
SparseMatrix withDiagonal(const SparseMatrix& matrix)
{
    SparseAssembler entries(matrix.Rows(), matrix.Cols());
    for (std::int32_t i = 0; i < matrix.Rows(); ++i) entries.Add(i, i, 0.0);
    forEachEntry(matrix,
                 [&](std::int32_t row, std::int32_t col, double value) { entries.Add(row, col, value); });
    return entries.Assemble();
}

std::vector<double> diagonalOf(const SparseMatrix& matrix)
{
    std::vector<double> diagonal(static_cast<std::size_t>(matrix.Rows()));
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, double value) {
        if (row == col) diagonal[static_cast<std::size_t>(row)] = value;
    });
    return diagonal;
}

/// Every 2 x 2 minor that stands on the diagonal is positive. Roots, not products: those may overflow.
bool looksPositive(const SparseMatrix& matrix, std::vector<double> diagonal)
{
    if (!std::ranges::all_of(diagonal, [](double value) { return value > 0.0; })) return false;
    std::ranges::transform(diagonal, diagonal.begin(), [](double value) { return std::sqrt(value); });
    bool positive = true;
    forEachEntry(matrix, [&](std::int32_t row, std::int32_t col, double value) {
        const double bound =
            diagonal[static_cast<std::size_t>(row)] * diagonal[static_cast<std::size_t>(col)];
        positive &= row == col || std::abs(value) < bound;
    });
    return positive;
}

/// |a_ii| is at least the sum of the other magnitudes, in every row or in every column, but for rounding.
bool isDominant(const SparseMatrix& full, std::span<const double> diagonal)
{
    std::vector<double> rowSums(diagonal.size()), colSums(diagonal.size());
    forEachEntry(full, [&](std::int32_t row, std::int32_t col, double value) {
        if (row == col) return;
        rowSums[static_cast<std::size_t>(row)] += std::abs(value);
        colSums[static_cast<std::size_t>(col)] += std::abs(value);
    });
    const auto bounded = [](double sum, double element) { return sum <= 1.000001 * std::abs(element); };
    return std::ranges::equal(rowSums, diagonal, bounded) || std::ranges::equal(colSums, diagonal, bounded);
}

Traits traitsOf(const SparseMatrix& matrix)
{
    Traits traits;
    const Symmetry symmetry = matrix.Symmetric() ? Symmetry{true, true, false} : symmetryOf(matrix);
    traits.symmetric = symmetry.values;
    traits.symmetricPattern = symmetry.pattern;
    std::vector<double> diagonal = diagonalOf(matrix);
    traits.fullDiagonal = std::ranges::find(diagonal, 0.0) == diagonal.end();
    if (!traits.fullDiagonal) return traits;
    if (traits.symmetric)
        traits.positiveLooking = looksPositive(matrix, std::move(diagonal));
    else
        traits.dominant = isDominant(matrix, diagonal);
    return traits;
}

/// Elements with their indices, in the file's form, in the assembler and in the matrix; vectors for the rows.
double bytesBefore(const MatrixMarketHeader& matrix, double rightHands)
{
    const double mirrored = matrix.symmetry == MatrixMarketSymmetry::General ? 1.0 : 2.0;
    return 28.0 * mirrored * static_cast<double>(matrix.stored) +
           matrix.rows * (16.0 + 24.0 * (rightHands + 1.0));
}

} // namespace

SparseSystem::SparseSystem(SparseMatrix matrix) : size_(matrix.Rows())
{
    traits_ = traitsOf(matrix);
    (matrix.Symmetric() ? upper_ : full_) = std::move(matrix);
    if (full_ && full_->NumElements() <= size_ && !isDiagonal(*full_)) full_ = withDiagonal(*full_);
}

SparseMatrix& SparseSystem::upper()
{
    if (!upper_) upper_ = upperTriangleOf(*full_);
    return *upper_;
}

SparseMatrix& SparseSystem::full()
{
    if (!full_) full_ = bothTrianglesOf(*upper_);
    return *full_;
}

void requireSparseRoom(const MatrixMarketHeader& matrix, double memory)
{
    const double bytes = bytesBefore(matrix, 1.0);
    if (bytes <= memory) return;
    throw InputError(matrix.file, matrix.sizeLine,
                     fmt::format("a sparse {} x {} system takes {} of memory before it is factorized, more "
                                 "than the {} there are",
                                 matrix.rows, matrix.cols, bytesInWords(bytes), bytesInWords(memory)));
}

void requireSparseRoomBeside(const MatrixMarketHeader& matrix, const MatrixMarketHeader& rightHands,
                             double memory)
{
    requireSameRows(matrix, rightHands);
    const double cells = matrix.rows * (rightHands.cols + 1.0); // a right-hand side is added
    if (cells <= INT32_MAX && bytesBefore(matrix, rightHands.cols) <= memory) return;
    throw InputError(rightHands.file, rightHands.sizeLine,
                     fmt::format("{} right-hand sides of a {} x {} matrix do not fit into memory",
                                 rightHands.cols, matrix.rows, matrix.cols));
}

} // namespace Velmar::Lintrix::tools
