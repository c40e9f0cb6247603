#pragma once
/// @file
/// The entries of a sparse matrix, one after another.

#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix {

/// Visits the stored entries row by row: visit(row, col, value), from 0. Of a real matrix marked `Symmetric`
/// that is the upper triangle. The matrix must not change meanwhile.
template <class Matrix, class Visit>
void ForEachEntry(const Matrix& matrix, Visit visit)
{
    const auto starts = matrix.RowPointers(), columns = matrix.ColumnIndices();
    const auto values = matrix.Values();
    for (std::int32_t row = 0; row < matrix.Rows(); ++row) {
        const auto end = static_cast<std::size_t>(starts[static_cast<std::size_t>(row) + 1] - 1);
        for (auto k = static_cast<std::size_t>(starts[static_cast<std::size_t>(row)] - 1); k < end; ++k) {
            visit(row, columns[k] - 1, values[k]);
        }
    }
}

} // namespace Velmar::Lintrix
