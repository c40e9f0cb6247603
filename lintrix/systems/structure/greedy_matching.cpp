#include <lintrix/systems/structure/greedy_matching.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

/// Rows, or columns: what each stands with, whom it has got, and how many it can still choose from.
struct Side {
    Side(const SparsePattern& pattern, std::vector<std::int32_t>& partners)
        : lists(pattern), partnerOf(partners)
    {
        choices.reserve(static_cast<std::size_t>(pattern.rows));
        for (std::int32_t i = 0; i < pattern.rows; ++i)
            choices.push_back(static_cast<std::int32_t>(pattern.lengthOf(i)));
    }
    bool isFree(std::int32_t i) const { return partnerOf[i] == kUnmatched; }

    SparsePattern lists;
    std::vector<std::int32_t>& partnerOf;
    std::vector<std::int32_t> choices{};
    std::vector<std::int32_t> alone{}; ///< those that came down to one choice
};

class GreedyMatcher {
public:
    GreedyMatcher(const SparsePattern& pattern, const SparsePattern& turned, BipartiteMatching& matching)
        : rows_(pattern, matching.columnOf), columns_(turned, matching.rowOf), size_(matching.size)
    {
    }

    void run()
    {
        listAlone(rows_);
        listAlone(columns_);
        matchAlone();
        for (std::int32_t row = 0; row < rows_.lists.rows; ++row) {
            if (!rows_.isFree(row) || rows_.choices[row] == 0) continue;
            join(rows_, row, columns_, bestColumn(row));
            matchAlone();
        }
    }

private:
    static void listAlone(Side& side)
    {
        for (std::int32_t i = 0; i < side.lists.rows; ++i)
            if (side.choices[i] == 1) side.alone.push_back(i);
    }

    void matchAlone()
    {
        while (!rows_.alone.empty() || !columns_.alone.empty()) {
            if (!rows_.alone.empty())
                matchOneAlone(rows_, columns_);
            else
                matchOneAlone(columns_, rows_);
        }
    }

    void matchOneAlone(Side& side, Side& other)
    {
        const std::int32_t i = side.alone.back();
        side.alone.pop_back();
        if (!side.isFree(i) || side.choices[i] == 0) return;
        const auto list = side.lists.row(i);
        join(side, i, other, *std::ranges::find_if(list, [&](std::int32_t j) { return other.isFree(j); }));
    }

    /// @pre one is free
    std::int32_t bestColumn(std::int32_t row) const
    {
        std::int32_t best = kUnmatched, fewest = std::numeric_limits<std::int32_t>::max();
        for (const std::int32_t column : rows_.lists.row(row)) {
            if (!columns_.isFree(column)) continue;
            if (column == row) return column;
            if (columns_.choices[column] >= fewest) continue;
            best = column;
            fewest = columns_.choices[column];
        }
        return best;
    }

    void join(Side& side, std::int32_t i, Side& other, std::int32_t j)
    {
        side.partnerOf[i] = j;
        other.partnerOf[j] = i;
        ++size_;
        withdraw(side, i, other);
        withdraw(other, j, side);
    }

    static void withdraw(const Side& side, std::int32_t i, Side& other)
    {
        for (const std::int32_t j : side.lists.row(i))
            if (--other.choices[j] == 1 && other.isFree(j)) other.alone.push_back(j);
    }

    Side rows_, columns_;
    std::int32_t& size_;
};

bool hasFullDiagonal(const SparsePattern& pattern)
{
    if (pattern.rows != pattern.cols) return false;
    for (std::int32_t i = 0; i < pattern.rows; ++i) {
        const auto columns = pattern.row(i);
        if (std::ranges::find(columns, i) == columns.end()) return false;
    }
    return true;
}

} // namespace

BipartiteMatching greedyMatching(const SparsePattern& pattern)
{
    BipartiteMatching matching{std::vector<std::int32_t>(static_cast<std::size_t>(pattern.rows), kUnmatched),
                               std::vector<std::int32_t>(static_cast<std::size_t>(pattern.cols), kUnmatched)};
    if (hasFullDiagonal(pattern)) {
        std::iota(matching.columnOf.begin(), matching.columnOf.end(), 0);
        matching.rowOf = matching.columnOf;
        matching.size = pattern.rows;
        return matching;
    }
    const PatternArrays turned = transposed(pattern);
    GreedyMatcher(pattern, turned, matching).run();
    return matching;
}

} // namespace Velmar::Lintrix::detail
