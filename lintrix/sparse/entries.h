#pragma once
/// @file
/// The entries of a sparse matrix, one after another.

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace Velmar::Lintrix {

/// One stored entry, where it stands: place from 0, and the value itself. `Cell` is double or Complex, const
/// where it is only read.
///
///     for (auto [row, col, value] : A) value *= scale[row];
template <class Cell>
struct SparseEntry {
    std::int32_t row, col;
    Cell& value;
};

/// Walks over the stored entries, row by row, columns ascending; of a matrix that stores one triangle these
/// are the entries of the triangle. Values may change on the way, the pattern may not.
template <class Cell>
class SparseEntryIterator {
public:
    using iterator_category =
        std::input_iterator_tag; ///< it makes its entries; it can be repeated all the same
    using iterator_concept = std::forward_iterator_tag;
    using value_type = SparseEntry<Cell>;
    using difference_type = std::ptrdiff_t;
    using reference = SparseEntry<Cell>;

    SparseEntryIterator() noexcept = default;
    /// At entry `slot` of row `row` or a later one; the row pointers are one-based.
    SparseEntryIterator(Cell* values, const std::int32_t* columns, const std::int32_t* starts,
                        std::int32_t row, std::int32_t slot, std::int32_t slots) noexcept
        : values_(values), columns_(columns), starts_(starts), row_(row), slot_(slot), slots_(slots)
    {
        passEmptyRows();
    }

    reference operator*() const { return {row_, columns_[slot_] - 1, values_[slot_]}; }
    SparseEntryIterator& operator++() noexcept
    {
        ++slot_;
        passEmptyRows();
        return *this;
    }
    SparseEntryIterator operator++(int) noexcept
    {
        const SparseEntryIterator before = *this;
        ++*this;
        return before;
    }
    friend bool operator==(const SparseEntryIterator& x, const SparseEntryIterator& y) noexcept
    {
        return x.slot_ == y.slot_;
    }

private:
    void passEmptyRows() noexcept
    {
        while (slot_ < slots_ && slot_ >= starts_[row_ + 1] - 1) ++row_;
    }

    Cell* values_ = nullptr;
    const std::int32_t *columns_ = nullptr, *starts_ = nullptr;
    std::int32_t row_ = 0, slot_ = 0, slots_ = 0;
};

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
