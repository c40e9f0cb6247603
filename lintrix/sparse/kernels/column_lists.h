#pragma once
/// @file
/// A compressed-row matrix read by columns, without its transpose.

#include <lintrix/sparse/kernels/scratch.h>

#include <cstddef>

namespace Velmar::Lintrix::detail {

/// Lists the elements of a compressed-row matrix column by column, rows ascending, for a run of columns at a
/// time: as many as fit in the lists. Values are not looked at.
///
/// Each row has a cursor, which steps over the elements of the run; columns ascend within a row, so that no
/// cursor ever steps back. Lists of 4*rows elements hold at least four columns, and all runs together cost
/// O(elements + rows + columns). Workspace, in int: rows (cursors), 2*columns + 1 (where each list starts and
/// ends), and 2*min(elements, 4*rows) (lists).
class ColumnLists {
public:
    /// What is stored in one column.
    struct List {
        const int* rows;      ///< one-based, ascending
        const int* positions; ///< of the elements in the arrays of the matrix, from 0
        int count;
    };

    ColumnLists(int rows, int columns, const int* ja, const int* ia) noexcept;

    /// Was there memory for the workspace?
    bool isThere() const noexcept { return index_.isThere() && lists_.isThere(); }
    /// The list of the next column, from the first to the last.
    List next() noexcept;

private:
    std::size_t prepare() noexcept;
    void fillRun() noexcept;

    int rows_, columns_;
    const int *ja_, *ia_;
    Scratch<int> index_;     // cursors_, starts_ and ends_
    int* cursors_ = nullptr; // of each row: its next element, from 0
    int* starts_ = nullptr;  // of each column: elements in the columns before it
    int* ends_ = nullptr;    // of each column of the run: the end of its list as far as it is filled
    std::size_t capacity_;
    Scratch<int> lists_; // rows, then positions
    int next_ = 0;       // column to be handed out
    int runStart_ = 0, runEnd_ = 0;
};

} // namespace Velmar::Lintrix::detail
