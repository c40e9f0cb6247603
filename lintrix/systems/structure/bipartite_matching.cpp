#include <lintrix/systems/structure/bipartite_matching.h>

#include <lintrix/services/work.h>
#include <lintrix/systems/structure/greedy_matching.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail {

namespace {

/// A matching that grows, and the search for paths by which it can.
class Matcher {
public:
    Matcher(const SparsePattern& pattern, BipartiteMatching initial);

    /// One phase. @return false  no path leads to a free column: the matching is as large as can be
    bool augment();

    BipartiteMatching take() && { return std::move(matching_); }

private:
    static constexpr std::int32_t kNoLevel = -1, kUnbounded = std::numeric_limits<std::int32_t>::max();

    void join(std::int32_t row, std::int32_t col)
    {
        matching_.columnOf[row] = col;
        matching_.rowOf[col] = row;
    }
    std::int32_t freeColumn(std::int32_t row);
    bool layLevels();
    void followPaths();
    void forgetLevels();
    void putInLevel(std::int32_t row, std::int32_t level);
    void reachFrom(std::int32_t row);
    void enter(std::int32_t row);
    std::int32_t nextRow(std::int32_t row);
    bool augmentFrom(std::int32_t root);
    void passAlong(std::int32_t col);

    const SparsePattern& pattern_;
    BipartiteMatching matching_;
    std::vector<std::int32_t> unseen_;  ///< the first place of each row where a free column may stand
    std::vector<std::int32_t> next_;    ///< the first place of each row that was not followed since then
    std::vector<std::int32_t> level_;   ///< of a row that was not entered since the levels were laid
    std::vector<std::int32_t> queue_{}; ///< rows by level
    std::vector<std::int32_t> way_{};   ///< each row is to get the column of the one behind it
    std::int32_t last_ = kUnbounded;    ///< the level of the first rows with a free column
};

Matcher::Matcher(const SparsePattern& pattern, BipartiteMatching initial)
    : pattern_(pattern), matching_(std::move(initial)),
      unseen_(pattern.starts.begin(), pattern.starts.end() - 1), next_(unseen_),
      level_(unseen_.size(), kNoLevel)
{
    queue_.reserve(unseen_.size());
}

/// What was passed over once is not looked at again: a matched column may change its row, not become free.
std::int32_t Matcher::freeColumn(std::int32_t row)
{
    for (std::int32_t& k = unseen_[row]; k < pattern_.starts[row + 1]; ++k) {
        const std::int32_t col = pattern_.columns[k];
        if (matching_.rowOf[col] == kUnmatched) return col;
    }
    return kUnmatched;
}

bool Matcher::augment()
{
    if (matching_.size == std::min(pattern_.rows, pattern_.cols) || !layLevels()) return false;
    followPaths();
    forgetLevels();
    followPaths();
    return true;
}

void Matcher::followPaths()
{
    for (std::int32_t row = 0; row < pattern_.rows; ++row) {
        if (matching_.columnOf[row] == kUnmatched && augmentFrom(row)) ++matching_.size;
    }
}

/// All rows on one level, whose end is nowhere.
void Matcher::forgetLevels()
{
    std::ranges::fill(level_, 0);
    std::ranges::copy(pattern_.starts.begin(), pattern_.starts.end() - 1, next_.begin());
    last_ = kUnbounded;
}

/// Breadth first from the rows without a column, no further than the first level with a free column in reach.
bool Matcher::layLevels()
{
    std::ranges::fill(level_, kNoLevel);
    queue_.clear();
    last_ = kUnbounded;
    for (std::int32_t row = 0; row < pattern_.rows; ++row) {
        if (matching_.columnOf[row] == kUnmatched) putInLevel(row, 0);
    }
    for (std::size_t head = 0; head < queue_.size() && level_[queue_[head]] <= last_; ++head) {
        const std::int32_t row = queue_[head];
        if (freeColumn(row) != kUnmatched)
            last_ = level_[row];
        else if (last_ == kUnbounded)
            reachFrom(row);
    }
    return last_ != kUnbounded;
}

void Matcher::putInLevel(std::int32_t row, std::int32_t level)
{
    level_[row] = level;
    next_[row] = pattern_.starts[row];
    queue_.push_back(row);
}

/// @pre all columns of the row are matched
void Matcher::reachFrom(std::int32_t row)
{
    for (const std::int32_t col : pattern_.row(row)) {
        const std::int32_t other = matching_.rowOf[col];
        if (level_[other] == kNoLevel) putInLevel(other, level_[row] + 1);
    }
}

/// Depth first. A row that was entered lies on a path or leads to none.
bool Matcher::augmentFrom(std::int32_t root)
{
    enter(root);
    while (!way_.empty()) {
        const std::int32_t row = way_.back();
        if (const std::int32_t col = freeColumn(row); col != kUnmatched) {
            passAlong(col);
            return true;
        }
        if (const std::int32_t other = nextRow(row); other != kUnmatched)
            enter(other);
        else
            way_.pop_back();
    }
    return false;
}

void Matcher::enter(std::int32_t row)
{
    level_[row] = kNoLevel;
    way_.push_back(row);
}

/// A row that holds a column of this one; where there are levels, one of the next: the last row of the way is
/// of level way_.size() - 1.
std::int32_t Matcher::nextRow(std::int32_t row)
{
    const std::int32_t level = last_ == kUnbounded ? 0 : static_cast<std::int32_t>(way_.size());
    if (level > last_) return kUnmatched;
    for (std::int32_t& k = next_[row]; k < pattern_.starts[row + 1];) {
        const std::int32_t other = matching_.rowOf[pattern_.columns[k++]];
        if (level_[other] == level) return other;
    }
    return kUnmatched;
}

/// From the end of the way to its root: each row takes the column and hands its own on.
void Matcher::passAlong(std::int32_t col)
{
    for (; !way_.empty(); way_.pop_back()) {
        const std::int32_t before = matching_.columnOf[way_.back()];
        join(way_.back(), col);
        col = before;
    }
}

} // namespace

BipartiteMatching maximumMatching(const SparsePattern& pattern)
{
    return maximumMatching(pattern, greedyMatching(pattern));
}

BipartiteMatching maximumMatching(const SparsePattern& pattern, BipartiteMatching initial)
{
    if (initial.size == std::min(pattern.rows, pattern.cols)) return initial;
    Matcher matcher(pattern, std::move(initial));
    do WorkScope::tell(); // a phase takes one pass or two over the pattern
    while (matcher.augment());
    return std::move(matcher).take();
}

} // namespace Velmar::Lintrix::detail
