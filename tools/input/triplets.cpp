#include <tools/input/triplets.h>

namespace Velmar::Lintrix::tools {

namespace {

using Symmetry = MatrixMarketSymmetry;

ComplexNumber acrossIn(Symmetry symmetry, ComplexNumber value)
{
    if (symmetry == Symmetry::SkewSymmetric) return -value;
    return symmetry == Symmetry::Hermitian ? std::conj(value) : value;
}

/// Neighbours in one place become their sum.
void addDuplicates(CompressedRows<ComplexNumber>& matrix)
{
    std::size_t kept = 0, k = 0;
    for (std::size_t row = 0; row + 1 < matrix.ia.size(); ++row) {
        const std::size_t first = kept;
        for (; k < static_cast<std::size_t>(matrix.ia[row + 1] - 1); ++k) {
            if (kept > first && matrix.ja[kept - 1] == matrix.ja[k]) {
                matrix.a[kept - 1] += matrix.a[k];
                continue;
            }
            matrix.ja[kept] = matrix.ja[k];
            matrix.a[kept++] = matrix.a[k];
        }
        matrix.ia[row] = static_cast<std::int32_t>(first) + 1;
    }
    matrix.ia.back() = static_cast<std::int32_t>(kept) + 1;
    matrix.ja.resize(kept);
    matrix.a.resize(kept);
}

/// Visits the entries in the order of the file; of a triangle, which a file holds below the diagonal, what
/// is above it.
template <class Take>
void forEachEntry(const MatrixMarketTriplets& triplets, bool upper, Take take)
{
    for (std::size_t k = 0; k < triplets.values.size(); ++k) {
        const std::int32_t row = triplets.rowIndices[k], col = triplets.colIndices[k];
        const bool hasTwin = triplets.symmetry != Symmetry::General && row != col;
        if (hasTwin) take(col, row, acrossIn(triplets.symmetry, triplets.values[k]));
        if (!hasTwin || !upper) take(row, col, triplets.values[k]);
    }
}

} // namespace

/// Columns first, with their entries in the order of the file; walking them, each row meets its columns in
/// ascending order (Knuth, The Art of Computer Programming 3, section 5.2.5).
CompressedRows<ComplexNumber> rowsOf(const MatrixMarketTriplets& triplets, MatrixMarketStorage storage)
{
    const bool hermitian = triplets.symmetry == Symmetry::Hermitian;
    const bool upper = storage == MatrixMarketStorage::UpperTriangle &&
                       (hermitian || triplets.symmetry == Symmetry::Symmetric);
    const auto columns = rowsFrom<ComplexNumber>(triplets.cols, triplets.rows, [&](auto take) {
        forEachEntry(triplets, upper, [&take](std::int32_t row, std::int32_t col, ComplexNumber value) {
            take(col, row, value);
        });
    });
    auto rows = rowsFrom<ComplexNumber>(triplets.rows, triplets.cols, [&columns](auto take) {
        forEachEntry(columns, [&take](std::int32_t col, std::int32_t row, ComplexNumber value) {
            take(row, col, value);
        });
    });
    addDuplicates(rows);
    if (!upper) return rows;
    rows = withDiagonal(rows, true);
    rows.below = hermitian ? Below::Conjugated : Below::Mirrored;
    return rows;
}

} // namespace Velmar::Lintrix::tools
