#pragma once
/// @file
/// How the other classes of the library reach the arrays of the sparse objects. Not for callers.

#include <lintrix/sparse/csparse_matrix.h>
#include <lintrix/sparse/detail/row_arrays.h>
#include <lintrix/sparse/sparse_matrix.h>

#include <utility>

namespace Velmar::Lintrix::detail {

struct LINTRIX_TESTABLE SparseAccess {
    template <class Cell>
    static Cell* values(const CompressedMatrix<Cell>& matrix) noexcept
    {
        return matrix.a.get();
    }
    template <class Cell>
    static std::int32_t* rowPointers(const CompressedMatrix<Cell>& matrix)
    {
        return matrix.rowPointers();
    }
    template <class Cell>
    static std::int32_t* columns(const CompressedMatrix<Cell>& matrix) noexcept
    {
        return matrix.ja.get();
    }

    /// The matrix takes the arrays over: rows + 1 row pointers, `ia`[rows] slots in each of the others, of
    /// which the last is spare.
    template <class Cell>
    static SparseOf<Cell> adopt(std::int32_t rows, std::int32_t cols, RowArrays<Cell>&& arrays) noexcept
    {
        return SparseOf<Cell>(rows, cols, std::move(arrays));
    }

    /// `Symmetric` or `Hermitian`.
    template <class Cell>
    static void mark(CompressedMatrix<Cell>& matrix, bool oneTriangle) noexcept
    {
        matrix._oneTriangle = oneTriangle;
    }
    template <class Cell>
    static bool isMarked(const CompressedMatrix<Cell>& matrix) noexcept
    {
        return matrix._oneTriangle;
    }

    template <class Cell>
    static void insertElement(CompressedMatrix<Cell>& matrix, std::int32_t pos)
    {
        matrix.insert_elem(pos);
    }
    template <class Cell>
    static void deleteElement(CompressedMatrix<Cell>& matrix, std::int32_t pos)
    {
        matrix.delete_elem(pos);
    }
};

} // namespace Velmar::Lintrix::detail
