#include <lintrix/systems/system_matrix.h>

#include <lintrix/sparse/access.h>
#include <lintrix/systems/quality/vector_norms.h>
#include <lintrix/systems/roads/memory_budget.h>
#include <lintrix/systems/roads/sparse_rows.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <type_traits>
#include <utility>
#include <vector>

namespace Velmar::Lintrix {

namespace {

using namespace detail::roads;
using detail::conjugate;
using detail::modulus;

template <class Matrix>
using CellOf = std::decay_t<decltype(std::declval<const Matrix&>().Item(0, 0))>;

template <class Matrix, class Cell = CellOf<Matrix>>
std::vector<Cell> diagonalOf(const Matrix& matrix)
{
    std::vector<Cell> diagonal(static_cast<std::size_t>(matrix.Rows()));
    ForEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const Cell& value) {
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
    ForEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const Cell& value) {
        const double bound = roots[static_cast<std::size_t>(row)] * roots[static_cast<std::size_t>(col)];
        positive &= row == col || modulus(value) < bound;
    });
    return positive;
}

/// |a_ii| is at least the sum of the other magnitudes, in every row or in every column, but for rounding.
template <class Matrix, class Cell>
bool isDominant(const Matrix& full, const std::vector<Cell>& diagonal)
{
    std::vector<double> rowSums(diagonal.size()), colSums(diagonal.size());
    ForEachEntry(full, [&](std::int32_t row, std::int32_t col, const Cell& value) {
        if (row == col) return;
        rowSums[static_cast<std::size_t>(row)] += modulus(value);
        colSums[static_cast<std::size_t>(col)] += modulus(value);
    });
    const auto bounded = [](double sum, const Cell& element) { return sum <= 1.000001 * modulus(element); };
    return std::ranges::equal(rowSums, diagonal, bounded) || std::ranges::equal(colSums, diagonal, bounded);
}

/// Compares each entry with the one at the mirrored place. Entries are visited row by row, so those of column
/// r ask for the entries of row r one after another: a cursor a row finds them without a search.
template <class Matrix>
MatrixSymmetry compareWithMirror(const Matrix& matrix)
{
    const auto starts = matrix.RowPointers(), cols = matrix.ColumnIndices();
    const auto values = matrix.Values();
    std::vector<std::int32_t> cursor(starts.begin(),
                                     starts.end() - 1); // one-based slots, as the row pointers
    bool pattern = true, same = true, opposite = true, conjugated = true;
    ForEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const auto& value) {
        const auto mirrorRow = static_cast<std::size_t>(col);
        const auto k = static_cast<std::size_t>(cursor[mirrorRow]++ - 1);
        pattern = pattern && k + 1 < static_cast<std::size_t>(starts[mirrorRow + 1]) && cols[k] - 1 == row;
        same = same && pattern && values[k] == value;
        opposite = opposite && pattern && values[k] == -value;
        conjugated = conjugated && pattern && values[k] == conjugate(value);
    });
    return {pattern, same, !same && opposite, conjugated};
}

// The direct solver takes a matrix with one element a row for a diagonal one, and refuses fewer;
// its check of the arrays, which the hardened build always makes, refuses empty rows.
template <class Matrix>
bool isTooSparse(const Matrix& matrix)
{
    const auto starts = matrix.RowPointers();
    return matrix.NumElements() <= matrix.Rows() || std::ranges::adjacent_find(starts) != starts.end();
}

template <class Matrix>
MatrixTraits traitsOf(const Matrix& matrix)
{
    using Cell = CellOf<Matrix>;
    MatrixTraits traits;
    const MatrixSymmetry symmetry = SymmetryOf(matrix);
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

/// Between matrices of one pattern.
template <class Sparse>
void copyValues(const Sparse& from, Sparse& to)
{
    std::ranges::copy(from.Values(), detail::SparseAccess::values(to));
}

// By MatrixType.
using EngineTypes = std::array<int, 4>;

int numberIn(const EngineTypes& types, MatrixType type)
{
    return types[static_cast<std::size_t>(type)];
}

} // namespace

MatrixSymmetry SymmetryOf(const SparseMatrix& matrix)
{
    if (isTriangle(matrix)) return {.pattern = true, .values = true, .conjugated = true};
    return compareWithMirror(matrix);
}

MatrixSymmetry SymmetryOf(const CSparseMatrix& matrix)
{
    return compareWithMirror(matrix);
}

MatrixTraits TraitsOf(const SparseMatrix& matrix)
{
    return traitsOf(matrix);
}

MatrixTraits TraitsOf(const CSparseMatrix& matrix)
{
    return traitsOf(matrix);
}

MatrixType LikelyType(const MatrixTraits& traits) noexcept
{
    if (traits.mirrored())
        return traits.positiveLooking ? MatrixType::PositiveDefinite : MatrixType::Indefinite;
    return traits.symmetricPattern && traits.fullDiagonal ? MatrixType::StructurallySymmetric
                                                          : MatrixType::Unsymmetric;
}

template <>
int EngineTypeOf<double>(MatrixType type, const MatrixTraits&) noexcept
{
    return numberIn({11, 1, 2, -2}, type);
}

template <>
int EngineTypeOf<Complex>(MatrixType type, const MatrixTraits& traits) noexcept
{
    return numberIn(traits.hermitian ? EngineTypes{13, 3, 4, -4} : EngineTypes{13, 3, 4, 6}, type);
}

std::string_view EngineTypeInWords(int mtype) noexcept
{
    switch (mtype) {
    case 1:
        return "real with a symmetric pattern";
    case 2:
        return "real symmetric, may be positive definite";
    case -2:
        return "real symmetric indefinite";
    case 3:
        return "complex with a symmetric pattern";
    case 4:
        return "hermitian, may be positive definite";
    case -4:
        return "hermitian indefinite";
    case 6:
        return "complex symmetric";
    case 13:
        return "complex unsymmetric";
    default:
        return "real unsymmetric";
    }
}

template <class Cell>
SystemMatrix<Cell>::SystemMatrix(Sparse matrix) : size_(matrix.Rows()), traits_(TraitsOf(matrix))
{
    if (isTriangle(matrix)) {
        upper_ = std::move(matrix);
    } else {
        full_ = isTooSparse(matrix) ? withDiagonal<Cell>(matrix) : std::move(matrix);
    }
}

template <class Cell>
auto SystemMatrix<Cell>::Upper() -> Sparse&
{
    if (!upper_) upper_ = upperTriangleOf<Cell>(*full_);
    return *upper_;
}

template <class Cell>
auto SystemMatrix<Cell>::Full() -> Sparse&
{
    if constexpr (std::is_same_v<Cell, double>) { // a complex one is there from the start
        if (!full_) full_ = bothTrianglesOf<double>(*upper_);
    }
    return *full_;
}

template <class Cell>
void SystemMatrix<Cell>::TakeValues(SystemMatrix other)
{
    Sparse *const upper = upper_ ? &other.Upper() : nullptr, *const full = full_ ? &other.Full() : nullptr;
    if (upper) copyValues(*upper, *upper_);
    if (full) copyValues(*full, *full_);
    traits_ = other.traits_;
}

template <class Cell>
EngineMatrix SystemMatrix<Cell>::As(MatrixType type)
{
    EngineMatrix matrix{.mtype = EngineTypeOf<Cell>(type, traits_), .n = size_};
    Sparse& rows = matrix.isTriangle() ? Upper() : Full();
    matrix.a = rows.Values().data();
    matrix.ia = const_cast<std::int32_t*>(rows.RowPointers().data()); // of a matrix that is not const
    matrix.ja = const_cast<std::int32_t*>(rows.ColumnIndices().data());
    return matrix;
}

template <class Cell>
double SystemMatrix<Cell>::Bytes() const noexcept
{
    double bytes = 0.0;
    for (const std::optional<Sparse>* form : {&upper_, &full_}) {
        if (*form) bytes += detail::roads::bytesOfEntries<Cell>(size_, (*form)->NumElements());
    }
    return bytes;
}

template class SystemMatrix<double>;
template class SystemMatrix<Complex>;

} // namespace Velmar::Lintrix
