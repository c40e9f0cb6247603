#include <lintrix/sparse/kernels/column_lists.h>

#include <algorithm>

namespace Velmar::Lintrix::detail {

ColumnLists::ColumnLists(int rows, int columns, const int* ja, const int* ia) noexcept
    : rows_(rows), columns_(columns), ja_(ja), ia_(ia),
      index_(static_cast<std::size_t>(rows) + 2 * static_cast<std::size_t>(columns) + 1),
      capacity_(index_.isThere() ? prepare() : 0), lists_(2 * capacity_)
{
}

/// Sets the cursors to the starts of the rows and counts the columns. Returns how long the lists must be:
/// 4*rows, but no longer than the matrix and no shorter than its longest column.
std::size_t ColumnLists::prepare() noexcept
{
    cursors_ = index_.get();
    starts_ = cursors_ + rows_;
    ends_ = starts_ + columns_ + 1;
    for (int i = 0; i < rows_; ++i) cursors_[i] = ia_[i] - 1;
    std::fill(starts_, starts_ + columns_ + 1, 0);
    for (int p = ia_[0] - 1; p < ia_[rows_] - 1; ++p) ++starts_[ja_[p]];
    const int longest = *std::max_element(starts_, starts_ + columns_ + 1);
    for (int c = 0; c < columns_; ++c) starts_[c + 1] += starts_[c];
    return std::max(static_cast<std::size_t>(longest), std::min(static_cast<std::size_t>(starts_[columns_]),
                                                                4 * static_cast<std::size_t>(rows_)));
}

ColumnLists::List ColumnLists::next() noexcept
{
    if (next_ == runEnd_) fillRun();
    const int column = next_++;
    const int start = starts_[column] - starts_[runStart_];
    return {lists_.get() + start, lists_.get() + capacity_ + start, ends_[column] - start};
}

/// The run begins at column next_ and takes the columns whose elements fit together.
void ColumnLists::fillRun() noexcept
{
    runStart_ = runEnd_;
    const int base = starts_[runStart_];
    while (runEnd_ < columns_ && static_cast<std::size_t>(starts_[runEnd_ + 1] - base) <= capacity_) {
        ends_[runEnd_] = starts_[runEnd_] - base;
        ++runEnd_;
    }
    int* const listedRows = lists_.get();
    int* const listedPositions = listedRows + capacity_;
    for (int i = 0; i < rows_; ++i) {
        int p = cursors_[i];
        for (; p < ia_[i + 1] - 1 && ja_[p] > runStart_ && ja_[p] <= runEnd_; ++p) {
            const int at = ends_[ja_[p] - 1]++;
            listedRows[at] = i + 1;
            listedPositions[at] = p;
        }
        cursors_[i] = p;
    }
}

} // namespace Velmar::Lintrix::detail
