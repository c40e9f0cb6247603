#pragma once
/// @file
/// A sparse matrix by rows, of which each rank holds a block.

#include <distributed/agreement.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmar::Lintrix::Distributed {

/// The rows first, ..., first + Count() - 1 of a square matrix, compressed. Both triangles of a symmetric
/// one. A rank may have none.
template <class Cell>
struct OwnRows {
    std::int32_t size = 1;               ///< of the whole matrix
    std::int32_t first = 0;              ///< from 0
    std::vector<std::int64_t> starts{0}; ///< row first + i is starts[i], ..., starts[i + 1] - 1
    std::vector<std::int32_t> columns{}; ///< from 0, none twice in a row
    std::vector<Cell> values{};

    std::int32_t Count() const noexcept { return static_cast<std::int32_t>(starts.size()) - 1; }
};

/// One entry, on its way to the rank that its row belongs to.
template <class Cell>
struct Entry {
    std::int32_t row, col;
    Cell value;
};

/// Which rank has which rows: rank r those from firsts[r] to before firsts[r + 1].
class RowLayout {
public:
    /// Blocks as even as can be, of any number of ranks.
    static RowLayout even(std::int32_t size, int ranks);
    /// As the ranks say. @throws DistributedFailure  the blocks are not 0 to size - 1 in the order of the
    /// ranks, or the sizes differ
    static RowLayout of(const Agreement& all, std::int32_t size, std::int32_t first, std::int32_t count);

    std::int32_t size() const noexcept { return firsts_.back(); }
    std::int32_t first(int rank) const { return firsts_[static_cast<std::size_t>(rank)]; }
    std::int32_t count(int rank) const { return first(rank + 1) - first(rank); }
    int ownerOf(std::int32_t row) const;

    /// Columns of `size()` elements, from this rank's rows of them to all on rank 0, or back. Of the whole,
    /// the other ranks have nothing. `Cell` is double or complex.
    template <class Cell>
    void gather(const Agreement& all, std::int32_t columns, const Cell* own, Cell* whole) const;
    template <class Cell>
    void scatter(const Agreement& all, std::int32_t columns, const Cell* whole, Cell* own) const;

private:
    std::vector<int> counts() const;
    std::vector<std::int32_t> firsts_;
};

/// Columns on rank 0, to all. What MPI counts in an int may be less than all of them.
template <class Cell>
void broadcast(const Agreement& all, std::int32_t size, std::int32_t columns, Cell* cells);

/// Each entry to the rank that has its row; entries at one place are added up, those of lower ranks first,
/// in the order in which they were given.
template <class Cell>
OwnRows<Cell> rowsFrom(const Agreement& all, const RowLayout& layout, std::vector<Entry<Cell>> entries);

} // namespace Velmar::Lintrix::Distributed
