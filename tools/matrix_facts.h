#pragma once
// Facts of a matrix that need no dense copy of it.

#include <lintrix/sparse/sparse_matrix.h>

#include <cstdint>
#include <string_view>

namespace Velmar::Lintrix::tools {

struct MatrixFacts {
    std::int64_t entries = 0;     ///< places with a stored entry
    std::int64_t storedZeros = 0; ///< of these, with the value 0
    std::int64_t diagonal = 0;    ///< of these, on the diagonal
    std::int32_t lowerBandwidth = 0, upperBandwidth = 0;
    bool symmetricPattern = false, symmetric = false, skewSymmetric = false;
    double oneNorm = 0.0, infinityNorm = 0.0, frobeniusNorm = 0.0, largestMagnitude = 0.0;
    double smallestMagnitude = 0.0; ///< of the entries that are not zero; 0 if there is none
};

/// Of a matrix with both triangles stored. Cost: a few passes over the entries.
MatrixFacts factsOf(const SparseMatrix& matrix);

struct Symmetry {
    bool pattern = false, values = false;
    bool opposite = false; ///< a_ij = -a_ji, and not symmetric
};

/// Of a square matrix with both triangles stored, one pass.
Symmetry symmetryOf(const SparseMatrix& matrix);

/// "symmetric", "skew-symmetric", "unsymmetric with a symmetric pattern", "unsymmetric" or "rectangular".
std::string_view symmetryInWords(const MatrixFacts& facts, std::int32_t rows, std::int32_t cols);

/// Visits the stored entries row by row: visit(row, col, value), from 0.
template <class Visit>
void forEachEntry(const SparseMatrix& matrix, Visit visit)
{
    const auto starts = matrix.RowPointers(), cols = matrix.ColumnIndices();
    const auto values = matrix.Values();
    for (std::int32_t row = 0; row < matrix.Rows(); ++row) {
        const auto end = static_cast<std::size_t>(starts[static_cast<std::size_t>(row) + 1] - 1);
        for (auto k = static_cast<std::size_t>(starts[static_cast<std::size_t>(row)] - 1); k < end; ++k) {
            visit(row, cols[k] - 1, values[k]);
        }
    }
}

} // namespace Velmar::Lintrix::tools
