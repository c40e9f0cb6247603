#pragma once
/// @file
/// The rows of op(A) one after another, whatever op is: what the sum and the product of sparse matrices run
/// through.

#include <lintrix/sparse/kernels/cell.h>
#include <lintrix/sparse/kernels/column_lists.h>

#include <cstddef>

namespace Velmar::Lintrix::detail {

template <class Cell>
struct SparseOperand {
    int rows, columns;
    const Cell* values;
    const int* ja;
    const int* ia;
};

/// Calls work(row, columns, count, value) for each row of op(A), from 0: `columns` are its column numbers,
/// one-based and ascending, and value(e) is the value of element e. Values are read by that call only.
/// Returns false, before the first call, if `trans` is not "N" and there was no memory to read A by columns.
template <class Cell, class Work>
bool forRowsOf(char trans, const SparseOperand<Cell>& A, Work work)
{
    if (trans == 'N') {
        for (int i = 0; i < A.rows; ++i) {
            const int start = A.ia[i] - 1;
            work(i, A.ja + start, A.ia[i + 1] - 1 - start,
                 [&A, start](int e) -> const Cell& { return A.values[start + e]; });
        }
        return true;
    }
    ColumnLists lists(A.rows, A.columns, A.ja, A.ia);
    if (!lists.isThere()) return false;
    withConjugation<Cell>(trans == 'C', [&](auto conjugated) {
        for (int c = 0; c < A.columns; ++c) {
            const ColumnLists::List list = lists.next();
            work(c, list.rows, list.count,
                 [&](int e) { return conjugatedIf<conjugated>(A.values[list.positions[e]]); });
        }
    });
    return true;
}

} // namespace Velmar::Lintrix::detail
