#pragma once
/// @file
/// A in the order of its elimination, and the triangles that the elimination makes of it.

#include <lintrix/foundation/block.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::sparse_lu {

/// Column k of R*A, its rows at their positions. First those of earlier blocks, then those of its own.
template <class Cell>
struct PlacedColumns {
    std::vector<std::int32_t> starts, ownStarts; ///< ownStarts[k]: the first entry of its own block
    std::vector<std::int32_t> rows;
    std::vector<std::int32_t> slots; ///< in the arrays of A
    std::vector<Cell> values;
};

/// Columns that come one after another, in arrays that grow.
template <class Cell>
class GrowingColumns {
public:
    GrowingColumns() = default;
    /// With room for so many entries to begin with. @throws NotEnoughMemoryException
    GrowingColumns(std::int32_t columns, std::int64_t entries)
        : rows_(entries), values_(entries), room_(entries)
    {
        starts_.reserve(static_cast<std::size_t>(columns) + 1);
    }

    /// Of columns that are made: `starts` ascends from 0 to the length of the others.
    GrowingColumns(std::vector<std::int64_t> starts, Block<std::int32_t> rows, Block<Cell> values)
        : starts_(std::move(starts)), rows_(std::move(rows)), values_(std::move(values)),
          room_(starts_.back())
    {
    }

    std::span<const std::int64_t> starts() const noexcept { return starts_; }
    std::int64_t begin(std::int32_t k) const noexcept { return starts_[static_cast<std::size_t>(k)]; }
    std::int64_t end(std::int32_t k) const noexcept { return starts_[static_cast<std::size_t>(k) + 1]; }
    std::int64_t entries() const noexcept { return starts_.back(); }
    std::int32_t* rows() const noexcept { return rows_.get(); }
    Cell* values() const noexcept { return values_.get(); }

    /// For `more` entries behind those there are; may move them all. @throws NotEnoughMemoryException
    void makeRoom(std::int64_t more)
    {
        if (entries() + more <= room_) return;
        const std::int64_t room = std::max(entries() + more, room_ + room_ / 2);
        Block<std::int32_t> rows(room);
        Block<Cell> values(room);
        std::copy_n(rows_.get(), entries(), rows.get());
        std::copy_n(values_.get(), entries(), values.get());
        rows_ = std::move(rows);
        values_ = std::move(values);
        room_ = room;
    }
    /// The next column has so many entries, which stand where room was made.
    void append(std::int64_t count) { starts_.push_back(entries() + count); }
    /// Gives back the room that is not needed.
    void shrink() noexcept
    {
        if (!rows_) return;
        room_ = std::max<std::int64_t>(entries(), 1);
        rows_.shrink(room_);
        values_.shrink(room_);
    }

private:
    std::vector<std::int64_t> starts_{0};
    Block<std::int32_t> rows_;
    Block<Cell> values_;
    std::int64_t room_ = 0;
};

/// P*R*A*Q = L*U + F: L with ones on its diagonal, which is not stored, U without its diagonal `pivots`, F
/// being the entries of A above the blocks. Rows are positions.
template <class Cell>
struct LuArrays {
    PlacedColumns<Cell> A;
    std::span<const std::int32_t> blockStarts;
    GrowingColumns<Cell> L, U; ///< a column of U in an order in which it can be computed
    std::vector<Cell> pivots;
    double operations = 0.0;
    double growth = 0.0; ///< the largest of a column of U beside the largest of its column of A
};

} // namespace Velmar::Lintrix::detail::sparse_lu
