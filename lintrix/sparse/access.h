#pragma once
/// @file
/// How the other classes of the library reach the arrays of the sparse objects. Not for callers.

#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <utility>

namespace Velmar::Lintrix::detail {

struct LINTRIX_TESTABLE SparseAccess {
    static double* values(const SparseMatrix& matrix) noexcept { return matrix.a.get(); }
    static std::int32_t* rowPointers(const SparseMatrix& matrix) { return matrix.rowPointers(); }
    static std::int32_t* columns(const SparseMatrix& matrix) noexcept { return matrix.ja.get(); }

    /// The matrix takes the arrays over: rows + 1 row pointers, `ia`[rows] slots in each of the others, of
    /// which the last is spare.
    static SparseMatrix adopt(std::int32_t rows, std::int32_t cols, RowArrays<double>&& arrays) noexcept
    {
        return SparseMatrix(rows, cols, std::move(arrays));
    }

    static void insertElement(SparseMatrix& matrix, std::int32_t pos) { matrix.insert_elem(pos); }
    static void deleteElement(SparseMatrix& matrix, std::int32_t pos) { matrix.delete_elem(pos); }
};

} // namespace Velmar::Lintrix::detail
