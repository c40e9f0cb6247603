#include <lintrix/systems/roads/transversal.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::roads {

namespace {

constexpr std::int32_t kNone = -1;

std::size_t at(std::int32_t index)
{
    return static_cast<std::size_t>(index);
}

/// Rows and columns in pairs, and the search for more of them.
class Transversal {
public:
    explicit Transversal(const Pattern& pattern)
        : pattern_(pattern), columnOf_(at(pattern.rows()), kNone), rowOf_(columnOf_),
          unseen_(pattern.ia.begin(), pattern.ia.end() - 1), next_(unseen_), visitedIn_(columnOf_.size())
    {
    }

    /// Each row takes its diagonal, and what is left the first free column.
    void assignCheaply()
    {
        for (std::int32_t row = 0; row < pattern_.rows(); ++row) {
            const auto first = pattern_.ja.begin() + (pattern_.ia[at(row)] - 1),
                       last = pattern_.ja.begin() + (pattern_.ia[at(row) + 1] - 1);
            if (std::find(first, last, row + 1) != last) join(row, row);
        }
        for (std::int32_t row = 0; row < pattern_.rows(); ++row) {
            if (columnOf_[at(row)] != kNone) continue;
            if (const std::int32_t col = freeColumn(row); col != kNone) join(row, col);
        }
    }

    /// Walks through the pattern once more. @return false  there is no longer a way to a free column
    bool augment()
    {
        ++walk_;
        std::ranges::copy(pattern_.ia.begin(), pattern_.ia.end() - 1, next_.begin());
        bool found = false;
        for (std::int32_t row = 0; row < pattern_.rows(); ++row)
            found |= columnOf_[at(row)] == kNone && augmentFrom(row);
        return found;
    }

    const std::vector<std::int32_t>& columnOfRow() const { return columnOf_; }

private:
    void join(std::int32_t row, std::int32_t col)
    {
        columnOf_[at(row)] = col;
        rowOf_[at(col)] = row;
    }

    /// A column once taken stays so: what was passed over is not looked at again.
    std::int32_t freeColumn(std::int32_t row)
    {
        for (std::int32_t& k = unseen_[at(row)]; k < pattern_.ia[at(row) + 1]; ++k) {
            const std::int32_t col = pattern_.ja[at(k - 1)] - 1;
            if (rowOf_[at(col)] == kNone) return col;
        }
        return kNone;
    }

    /// A row not visited in this walk that has a column of this one.
    std::int32_t nextRow(std::int32_t row)
    {
        for (std::int32_t& k = next_[at(row)]; k < pattern_.ia[at(row) + 1];) {
            const std::int32_t other = rowOf_[at(pattern_.ja[at(k++ - 1)] - 1)];
            if (visitedIn_[at(other)] != walk_) return other;
        }
        return kNone;
    }

    /// The way leads from each row to the one that holds the column it is to get.
    bool augmentFrom(std::int32_t root)
    {
        enter(root);
        while (!way_.empty()) {
            const std::int32_t row = way_.back();
            if (const std::int32_t col = freeColumn(row); col != kNone) {
                passAlong(col);
                return true;
            }
            if (const std::int32_t other = nextRow(row); other != kNone)
                enter(other);
            else
                way_.pop_back();
        }
        return false;
    }

    void enter(std::int32_t row)
    {
        visitedIn_[at(row)] = walk_;
        way_.push_back(row);
    }

    void passAlong(std::int32_t col)
    {
        for (; !way_.empty(); way_.pop_back()) {
            const std::int32_t before = columnOf_[at(way_.back())];
            join(way_.back(), col);
            col = before;
        }
    }

    const Pattern& pattern_;
    std::vector<std::int32_t> columnOf_, rowOf_;
    std::vector<std::int32_t> unseen_, next_; ///< places in the rows, from 1
    std::vector<std::int32_t> visitedIn_;     ///< the walk in which a row was visited last
    std::vector<std::int32_t> way_{};
    std::int32_t walk_ = 0;
};

} // namespace

template <class Matrix>
Pattern nonZeroPattern(const Matrix& matrix)
{
    return patternFrom(matrix.Rows(), [&matrix](auto take) {
        ForEachEntry(matrix, [&](std::int32_t row, std::int32_t col, const auto& value) {
            if (value == 0.0) return;
            take(row, col, 1);
            if (isTriangle(matrix) && row != col) take(col, row, 1);
        });
    });
}

std::vector<std::int32_t> maximumTransversal(const Pattern& pattern)
{
    Transversal transversal(pattern);
    transversal.assignCheaply();
    while (transversal.augment()) {
    }
    return transversal.columnOfRow();
}

template <class Matrix>
std::int32_t structuralRank(const Matrix& matrix)
{
    const std::vector<std::int32_t> columnOf = maximumTransversal(nonZeroPattern(matrix));
    return matrix.Rows() - static_cast<std::int32_t>(std::ranges::count(columnOf, kNone));
}

template Pattern nonZeroPattern(const SparseMatrix&);
template Pattern nonZeroPattern(const CSparseMatrix&);
template std::int32_t structuralRank(const SparseMatrix&);
template std::int32_t structuralRank(const CSparseMatrix&);

} // namespace Velmar::Lintrix::detail::roads
