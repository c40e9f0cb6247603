#include <lintrix/systems/structure/sparse_entries.h>

#include <lintrix/foundation/function_objects.h>
#include <lintrix/systems/roads/sparse_rows.h>
#include <lintrix/systems/structure/bipartite_matching.h>

#include <utility>

namespace Velmar::Lintrix::detail {

template <class Cell>
EntryArrays<Cell> entriesOf(const SparseOf<Cell>& A)
{
    roads::RowLists<Cell> lists = roads::listRows<Cell>(A.Rows(), [&A](auto take) {
        ForEachEntry(A, [&](std::int32_t row, std::int32_t col, const Cell& value) {
            if (value == 0.0) return;
            take(row, col, value);
            if (roads::isTriangle(A) && row != col) take(col, row, value);
        });
    });
    return {{A.Rows(), A.Cols(), std::move(lists.starts), std::move(lists.columns)}, std::move(lists.values)};
}

template <class Cell>
std::int32_t structuralRank(const SparseOf<Cell>& A)
{
    return maximumMatching(entriesOf<Cell>(A).pattern).size;
}

template EntryArrays<double> entriesOf<double>(const SparseMatrix&);
template EntryArrays<Complex> entriesOf<Complex>(const CSparseMatrix&);
template std::int32_t structuralRank<double>(const SparseMatrix&);
template std::int32_t structuralRank<Complex>(const CSparseMatrix&);

} // namespace Velmar::Lintrix::detail
