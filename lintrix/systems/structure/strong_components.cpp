#include <lintrix/systems/structure/strong_components.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace Velmar::Lintrix::detail {

namespace {

class ComponentSearch {
public:
    ComponentSearch(const SparsePattern& pattern, const BipartiteMatching& matching,
                    std::span<std::int32_t> componentOf)
        : pattern_(pattern), matching_(matching), componentOf_(componentOf), earliest_(componentOf.size())
    {
        for (std::size_t j = 0; j < earliest_.size(); ++j)
            earliest_[j] = componentOf[j] == kOutside ? kClosed : 0;
        closing_.reserve(earliest_.size());
        way_.reserve(earliest_.size());
    }

    std::int32_t run()
    {
        for (std::int32_t j = 0; j < pattern_.cols; ++j) {
            if (earliest_[j] == 0) searchFrom(j);
        }
        return components_;
    }

private:
    static constexpr std::int32_t kClosed = std::numeric_limits<std::int32_t>::max();

    /// A column on the way from the root, the visit at which it was met, and its row's entries still to be
    /// followed.
    struct Step {
        std::int32_t column, visit, next, behind;
    };

    void enter(std::int32_t column)
    {
        const std::int32_t row = matching_.rowOf[column];
        earliest_[column] = ++visits_;
        way_.push_back({column, visits_, pattern_.starts[row], pattern_.starts[row + 1]});
    }

    void searchFrom(std::int32_t root)
    {
        enter(root);
        while (!way_.empty()) {
            if (const std::int32_t column = follow(way_.back()); column != kOutside)
                enter(column);
            else
                leave();
        }
    }

    /// A column not met before that the step leads to; the others lower its number to theirs.
    std::int32_t follow(Step& step)
    {
        std::int32_t earliest = earliest_[step.column];
        while (step.next < step.behind) {
            const std::int32_t column = pattern_.columns[step.next++];
            if (earliest_[column] == 0) {
                earliest_[step.column] = earliest;
                return column;
            }
            earliest = std::min(earliest, earliest_[column]);
        }
        earliest_[step.column] = earliest;
        return kOutside;
    }

    /// A column that leads to none met before it closes a component: itself and all that wait since.
    void leave()
    {
        const Step step = way_.back();
        way_.pop_back();
        const std::int32_t earliest = earliest_[step.column];
        if (!way_.empty()) {
            std::int32_t& before = earliest_[way_.back().column];
            before = std::min(before, earliest);
        }
        closing_.push_back(step.column);
        if (earliest == step.visit) close(step.visit);
    }

    void close(std::int32_t visit)
    {
        while (!closing_.empty() && earliest_[closing_.back()] >= visit) {
            earliest_[closing_.back()] = kClosed;
            componentOf_[closing_.back()] = components_;
            closing_.pop_back();
        }
        ++components_;
    }

    const SparsePattern& pattern_;
    const BipartiteMatching& matching_;
    std::span<std::int32_t> componentOf_;
    std::vector<std::int32_t> earliest_;  ///< 0: not met yet, kClosed: numbered or outside
    std::vector<std::int32_t> closing_{}; ///< left, their component still open
    std::vector<Step> way_{};
    std::int32_t visits_ = 0, components_ = 0;
};

} // namespace

std::int32_t numberStrongComponents(const SparsePattern& pattern, const BipartiteMatching& matching,
                                    std::span<std::int32_t> componentOf)
{
    return ComponentSearch(pattern, matching, componentOf).run();
}

} // namespace Velmar::Lintrix::detail
