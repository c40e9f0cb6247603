#include <lintrix/systems/structure/dulmage_mendelsohn.h>

#include <lintrix/systems/structure/strong_components.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

enum class Part : std::int8_t { Horizontal, Square, Vertical };

class Decomposition {
public:
    Decomposition(const SparsePattern& pattern, const BipartiteMatching& matching)
        : pattern_(pattern), matching_(matching),
          partOf_(static_cast<std::size_t>(pattern.cols), Part::Square)
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
    void mark(std::int32_t column, Part part)
    {
        if (partOf_[column] != Part::Square) return;
        partOf_[column] = part;
        queue_.push_back(column);
    }
    void findParts(DulmageMendelsohn& result) const;
    void findBlocks(DulmageMendelsohn& result);
    void placeColumns(DulmageMendelsohn& result) const;
    void placeRows(DulmageMendelsohn& result) const;

    const SparsePattern& pattern_;
    const BipartiteMatching& matching_;
    std::vector<Part> partOf_;                ///< of each column
    std::vector<std::int32_t> componentOf_{}; ///< of each column of S: its block, counted from the last
    std::vector<std::int32_t> queue_{};       ///< columns
};

void Decomposition::markVertical()
{
    queue_.clear();
    const auto markRow = [this](std::int32_t row) {
        for (const std::int32_t column : pattern_.row(row)) mark(column, Part::Vertical);
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
        if (matching_.rowOf[column] == kUnmatched) mark(column, Part::Horizontal);
    }
    if (queue_.empty()) return;
    const PatternArrays reached = transposed(pattern_, matching_.columnOf);
    for (std::size_t head = 0; head < queue_.size(); ++head) {
        for (const std::int32_t column : SparsePattern(reached).row(queue_[head]))
            mark(column, Part::Horizontal);
    }
}

/// Unmatched columns are all horizontal, unmatched rows all vertical.
void Decomposition::findParts(DulmageMendelsohn& result) const
{
    const auto horizontal = static_cast<std::int32_t>(std::ranges::count(partOf_, Part::Horizontal));
    const auto vertical = static_cast<std::int32_t>(std::ranges::count(partOf_, Part::Vertical));
    const std::int32_t freeColumns = pattern_.cols - matching_.size;
    result.columnParts = {0, horizontal, pattern_.cols - vertical, pattern_.cols};
    result.rowParts = {0, horizontal - freeColumns, matching_.size - vertical, pattern_.rows};
}

/// A block leads to those behind it alone, and components are numbered from the last: they are counted, and
/// the counts turned into positions.
void Decomposition::findBlocks(DulmageMendelsohn& result)
{
    componentOf_.resize(partOf_.size());
    std::ranges::transform(partOf_, componentOf_.begin(),
                           [](Part part) { return part == Part::Square ? 0 : kOutside; });
    const std::int32_t blocks = numberStrongComponents(pattern_, matching_, componentOf_);
    result.blockStarts.assign(static_cast<std::size_t>(blocks) + 1, 0);
    for (const std::int32_t component : componentOf_)
        if (component != kOutside) ++result.blockStarts[blocks - component];
    result.blockStarts.front() = result.rowParts[1];
    std::partial_sum(result.blockStarts.begin(), result.blockStarts.end(), result.blockStarts.begin());
}

/// Each part and block takes its columns in their order; the columns without a row come first.
void Decomposition::placeColumns(DulmageMendelsohn& result) const
{
    result.columnAt.resize(partOf_.size());
    const std::int32_t surplus = result.surplus();
    std::int32_t nextFree = 0, nextHorizontal = surplus, nextVertical = result.columnParts[2];
    std::vector<std::int32_t> nextOfBlock(result.blockStarts.begin(), result.blockStarts.end() - 1);
    const auto placeOf = [&](std::int32_t column) {
        if (matching_.rowOf[column] == kUnmatched) return nextFree++;
        if (partOf_[column] == Part::Horizontal) return nextHorizontal++;
        if (partOf_[column] == Part::Vertical) return nextVertical++;
        return surplus + nextOfBlock[result.blocks() - 1 - componentOf_[column]]++;
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
