#include <lintrix/systems/structure/dulmage_mendelsohn.h>

#include <lintrix/systems/structure/strong_components.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

/// What `groupOf` holds of a column before the blocks of the square part are numbered.
enum Group : std::int32_t { kHorizontal = -2, kVertical = kOutside, kSquare = 0 };

class Decomposition {
public:
    Decomposition(const SparsePattern& pattern, const BipartiteMatching& matching)
        : pattern_(pattern), matching_(matching), groupOf_(static_cast<std::size_t>(pattern.cols), kSquare)
    {
    }

    DulmageMendelsohn run()
    {
        markVertical();
        markHorizontal();
        DulmageMendelsohn result;
        result.structuralRank = matching_.size;
        findParts(result);
        findBlocks(result);
        placeColumns(result);
        placeRows(result);
        return result;
    }

private:
    /// The columns that rows without a column lead to, and those of the rows matched with these, and so on.
    void markVertical();
    /// The same, transposed, from the columns without a row.
    void markHorizontal();
    void mark(std::int32_t column, Group group)
    {
        if (groupOf_[column] != kSquare) return;
        groupOf_[column] = group;
        queue_.push_back(column);
    }
    void findParts(DulmageMendelsohn& result) const;
    void findBlocks(DulmageMendelsohn& result);
    void placeColumns(DulmageMendelsohn& result) const;
    void placeRows(DulmageMendelsohn& result) const;

    const SparsePattern& pattern_;
    const BipartiteMatching& matching_;
    std::vector<std::int32_t> groupOf_; ///< of each column: its group, in the end the block from the last
    std::vector<std::int32_t> queue_{}; ///< columns
};

void Decomposition::markVertical()
{
    queue_.clear();
    const auto markRow = [this](std::int32_t row) {
        for (const std::int32_t column : pattern_.row(row)) mark(column, kVertical);
    };
    for (std::int32_t row = 0; row < pattern_.rows; ++row) {
        if (matching_.columnOf[row] == kUnmatched) markRow(row);
    }
    for (std::size_t head = 0; head < queue_.size(); ++head) markRow(matching_.rowOf[queue_[head]]);
}

void Decomposition::markHorizontal()
{
    queue_.clear();
    for (std::int32_t column = 0; column < pattern_.cols; ++column) {
        if (matching_.rowOf[column] == kUnmatched) mark(column, kHorizontal);
    }
    if (queue_.empty()) return;
    const PatternArrays turned = transposed(pattern_);
    for (std::size_t head = 0; head < queue_.size(); ++head) {
        for (const std::int32_t row : SparsePattern(turned).row(queue_[head]))
            mark(matching_.columnOf[row], kHorizontal);
    }
}

/// Unmatched columns are all horizontal, unmatched rows all vertical.
void Decomposition::findParts(DulmageMendelsohn& result) const
{
    const auto horizontal = static_cast<std::int32_t>(std::ranges::count(groupOf_, kHorizontal));
    const auto vertical = static_cast<std::int32_t>(std::ranges::count(groupOf_, kVertical));
    const std::int32_t freeColumns = pattern_.cols - matching_.size;
    result.columnParts = {0, horizontal, pattern_.cols - vertical, pattern_.cols};
    result.rowParts = {0, horizontal - freeColumns, matching_.size - vertical, pattern_.rows};
}

/// A block leads to those behind it alone, and components are numbered from the last: they are counted, and
/// the counts turned into positions.
void Decomposition::findBlocks(DulmageMendelsohn& result)
{
    std::vector<std::int32_t> componentOf(groupOf_.size());
    std::ranges::transform(groupOf_, componentOf.begin(),
                           [](std::int32_t group) { return group == kSquare ? 0 : kOutside; });
    const std::int32_t blocks = numberStrongComponents(pattern_, matching_, componentOf);
    result.blockStarts.assign(static_cast<std::size_t>(blocks) + 1, 0);
    for (std::size_t j = 0; j < groupOf_.size(); ++j) {
        if (groupOf_[j] != kSquare) continue;
        groupOf_[j] = blocks - 1 - componentOf[j];
        ++result.blockStarts[groupOf_[j] + 1];
    }
    result.blockStarts.front() = result.rowParts[1];
    std::partial_sum(result.blockStarts.begin(), result.blockStarts.end(), result.blockStarts.begin());
}

/// Each group takes its columns in their order; the columns without a row come first.
void Decomposition::placeColumns(DulmageMendelsohn& result) const
{
    result.columnAt.resize(groupOf_.size());
    const std::int32_t surplus = result.surplus();
    std::int32_t nextFree = 0, nextHorizontal = surplus, nextVertical = result.columnParts[2];
    std::vector<std::int32_t> nextOfBlock(result.blockStarts.begin(), result.blockStarts.end() - 1);
    const auto placeOf = [&](std::int32_t column) {
        if (matching_.rowOf[column] == kUnmatched) return nextFree++;
        if (groupOf_[column] == kHorizontal) return nextHorizontal++;
        if (groupOf_[column] == kVertical) return nextVertical++;
        return surplus + nextOfBlock[groupOf_[column]]++;
    };
    for (std::int32_t column = 0; column < pattern_.cols; ++column) result.columnAt[placeOf(column)] = column;
}

void Decomposition::placeRows(DulmageMendelsohn& result) const
{
    result.rowAt.reserve(static_cast<std::size_t>(pattern_.rows));
    for (auto column = result.columnAt.begin() + result.surplus(); column != result.columnAt.end(); ++column)
        result.rowAt.push_back(matching_.rowOf[*column]);
    for (std::int32_t row = 0; row < pattern_.rows; ++row) {
        if (matching_.columnOf[row] == kUnmatched) result.rowAt.push_back(row);
    }
}

} // namespace

DulmageMendelsohn dulmageMendelsohn(const SparsePattern& pattern, const BipartiteMatching& matching)
{
    return Decomposition(pattern, matching).run();
}

} // namespace Velmar::Lintrix::detail
