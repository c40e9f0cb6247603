#include <lintrix/systems/multifrontal/front_tree.h>

#include <lintrix/services/work.h>

#include <algorithm>
#include <utility>

namespace Velmar::Lintrix::detail::multifrontal {

namespace {

using Indices = std::vector<std::int32_t>;
constexpr std::int32_t kNone = -1;
constexpr std::int32_t kColumnsUnasked = 1024; ///< between two looks at whether the work is to end

/// Lists of children, in ascending order.
struct Children {
    explicit Children(const Indices& parents) : first(parents.size(), kNone), next(parents.size(), kNone)
    {
        for (auto v = static_cast<std::int32_t>(parents.size()) - 1; v >= 0; --v) {
            if (parents[v] == kNone) continue;
            next[v] = first[parents[v]];
            first[parents[v]] = v;
        }
    }
    Indices first, next;
};

/// J. W. H. Liu, "The role of elimination trees in sparse factorization", SIAM J. Matrix Anal. Appl. 11
/// (1990), algorithm 4.2: with the paths to the roots known so far compressed.
Indices eliminationTree(const SparsePattern& pattern, const Indices& vertexAt, const Indices& positionOf)
{
    Indices parents(vertexAt.size(), kNone), roots(vertexAt.size(), kNone);
    for (std::int32_t i = 0; i < std::ssize(vertexAt); ++i) {
        for (const std::int32_t neighbour : pattern.row(vertexAt[i])) {
            std::int32_t k = positionOf[neighbour];
            while (k < i && roots[k] != i) {
                const std::int32_t above = std::exchange(roots[k], i);
                if (above == kNone) parents[k] = i;
                k = above == kNone ? i : above;
            }
        }
    }
    return parents;
}

/// Vertices of a forest, children before their parents, and a subtree without gaps.
Indices postorder(const Indices& parents)
{
    const Children children(parents);
    Indices next(children.first), order, path;
    order.reserve(parents.size());
    for (std::int32_t root = 0; root < std::ssize(parents); ++root) {
        if (parents[root] != kNone) continue;
        path.push_back(root);
        while (!path.empty()) {
            const std::int32_t top = path.back(), child = next[top];
            if (child == kNone) {
                order.push_back(top);
                path.pop_back();
            } else {
                next[top] = children.next[child];
                path.push_back(child);
            }
        }
    }
    return order;
}

Indices inverse(const Indices& at)
{
    Indices of(at.size());
    for (std::int32_t k = 0; k < std::ssize(at); ++k) of[at[k]] = k;
    return of;
}

/// Fronts of columns with the same structure, made column by column. Between the first column of a front and
/// its last no other front is made, so `madeBy` knows the rows of the latest one.
class Partition {
public:
    Partition(const SparsePattern& pattern, const Indices& vertexAt, const Indices& parents)
        : pattern_(pattern), vertexAt_(vertexAt), positionOf_(inverse(vertexAt)), children_(parents),
          frontOf(vertexAt.size()), madeBy_(vertexAt.size(), kNone)
    {
        for (std::int32_t j = 0; j < std::ssize(vertexAt); ++j) {
            if (j % kColumnsUnasked == 0) WorkScope::tell();
            place(j);
        }
    }

    /// Rows below of a front, with those of its own columns left out.
    std::span<const std::int32_t> rowsOf(std::int32_t f) const
    {
        return std::span(rows_).subspan(static_cast<std::size_t>(begins_[f]),
                                        static_cast<std::size_t>(ends_[f] - begins_[f]));
    }
    std::int32_t fronts() const { return static_cast<std::int32_t>(begins_.size()); }

private:
    void place(std::int32_t j)
    {
        const std::int32_t last = children_.first[j] == kNone ? kNone : frontOf[j - 1];
        if (last != kNone && addsNothing(j, last)) {
            ++begins_[last]; // past j, which led the rows
            frontOf[j] = last;
            return;
        }
        frontOf[j] = fronts();
        begins_.push_back(std::ssize(rows_));
        take(j);
        ends_.push_back(std::ssize(rows_));
        std::sort(rows_.begin() + begins_.back(), rows_.end());
    }

    bool isKnown(std::int32_t row) const { return madeBy_[row] == fronts() - 1; }

    /// Whether the rows of the front of j - 1, which is the latest one, are all that j has.
    bool addsNothing(std::int32_t j, std::int32_t last) const
    {
        for (const std::int32_t neighbour : pattern_.row(vertexAt_[j])) {
            const std::int32_t i = positionOf_[neighbour];
            if (i > j && !isKnown(i)) return false;
        }
        for (std::int32_t child = children_.first[j]; child != kNone; child = children_.next[child])
            if (frontOf[child] != last &&
                !std::ranges::all_of(rowsOf(frontOf[child]), [&](std::int32_t i) { return isKnown(i); }))
                return false;
        return true;
    }

    /// A new front begins with j: joins what its column of A and its children have.
    void take(std::int32_t j)
    {
        const auto add = [&](std::int32_t i) {
            if (i > j && std::exchange(madeBy_[i], frontOf[j]) != frontOf[j]) rows_.push_back(i);
        };
        for (const std::int32_t neighbour : pattern_.row(vertexAt_[j])) add(positionOf_[neighbour]);
        for (std::int32_t child = children_.first[j]; child != kNone; child = children_.next[child])
            for (std::int64_t k = begins_[frontOf[child]]; k < ends_[frontOf[child]]; ++k) add(rows_[k]);
    }

    const SparsePattern& pattern_;
    const Indices& vertexAt_;
    Indices positionOf_;
    Children children_;
    std::vector<std::int64_t> begins_{}, ends_{};
    Indices rows_{};

public:
    Indices frontOf; ///< by position

private:
    Indices madeBy_;
};

/// Fronts of fewer columns join: the gain of larger blocks is more than the zeros cost.
constexpr std::int64_t kFewColumns = 16;
/// Beyond, one in so many entries may be a zero.
constexpr std::int64_t kZeroShare = 16;

std::int64_t entriesOf(std::int64_t columns, std::int64_t rows)
{
    return columns * (columns + 1) / 2 + columns * rows;
}

/// Which fronts join which.
class Amalgamation {
public:
    Amalgamation(const Partition& partition, Indices parents)
        : partition_(partition), parents_(std::move(parents)), columns_(parents_.size()),
          host_(parents_.size())
    {
        for (const std::int32_t f : partition.frontOf) ++columns_[f];
        for (std::int32_t f = 0; f < std::ssize(host_); ++f) host_[f] = f;
        for (std::int32_t f = 0; f < std::ssize(host_); ++f)
            if (parents_[f] != kNone && joins(f, parents_[f])) join(f, parents_[f]);
        for (auto f = static_cast<std::int32_t>(host_.size()) - 1; f >= 0; --f) host_[f] = host_[host_[f]];
    }

    /// The front that the columns of f go to: f itself, or one behind it.
    std::int32_t hostOf(std::int32_t f) const { return host_[f]; }

    /// Of hosts; of others that of their host has no meaning.
    std::int32_t parentOf(std::int32_t f) const { return parents_[f] == kNone ? kNone : host_[parents_[f]]; }

private:
    /// A front is visited when all that may join it have been; the parent's columns are those of it so far.
    bool joins(std::int32_t f, std::int32_t parent) const
    {
        if (columns_[f] < kFewColumns && columns_[parent] < kFewColumns) return true;
        const std::int64_t below = std::ssize(partition_.rowsOf(f)),
                           above = std::ssize(partition_.rowsOf(parent)),
                           joined = entriesOf(columns_[f] + columns_[parent], above);
        return (joined - entriesOf(columns_[f], below) - entriesOf(columns_[parent], above)) * kZeroShare <=
               joined;
    }
    void join(std::int32_t f, std::int32_t parent)
    {
        host_[f] = parent;
        columns_[parent] += columns_[f];
    }

    const Partition& partition_;
    Indices parents_;
    std::vector<std::int64_t> columns_;
    Indices host_;
};

Indices parentsOf(const Partition& partition)
{
    Indices parents(static_cast<std::size_t>(partition.fronts()), kNone);
    for (std::int32_t f = 0; f < partition.fronts(); ++f)
        if (!partition.rowsOf(f).empty()) parents[f] = partition.frontOf[partition.rowsOf(f).front()];
    return parents;
}

/// The positions of each host, in their order.
class Members {
public:
    Members(const Partition& partition, const Amalgamation& amalgamation)
        : starts_(static_cast<std::size_t>(partition.fronts()) + 1), at_(partition.frontOf.size())
    {
        for (const std::int32_t f : partition.frontOf) ++starts_[amalgamation.hostOf(f) + 1];
        for (std::size_t f = 1; f < starts_.size(); ++f) starts_[f] += starts_[f - 1];
        Indices next(starts_);
        for (std::int32_t j = 0; j < std::ssize(at_); ++j)
            at_[next[amalgamation.hostOf(partition.frontOf[j])]++] = j;
    }
    std::span<const std::int32_t> of(std::int32_t host) const
    {
        return std::span(at_).subspan(static_cast<std::size_t>(starts_[host]),
                                      static_cast<std::size_t>(starts_[host + 1] - starts_[host]));
    }

private:
    Indices starts_, at_;
};

/// The hosts in a postorder. Rows go by their new positions, which ascend as the old ones did: those of a
/// front are on one way to the root, along which nothing changes places.
FrontTree layOut(const Partition& partition, const Amalgamation& amalgamation, const Indices& vertexAt)
{
    const std::int32_t n = partition.fronts();
    Indices parents(static_cast<std::size_t>(n), kNone), frontOf(static_cast<std::size_t>(n), kNone);
    for (std::int32_t f = 0; f < n; ++f)
        parents[f] = amalgamation.hostOf(f) == f ? amalgamation.parentOf(f) : amalgamation.hostOf(f);
    const Members members(partition, amalgamation);
    FrontTree tree;
    Indices hosts, positionOf(vertexAt.size());
    for (const std::int32_t f : postorder(parents)) {
        if (amalgamation.hostOf(f) != f) continue;
        frontOf[f] = static_cast<std::int32_t>(hosts.size());
        hosts.push_back(f);
        for (const std::int32_t j : members.of(f)) {
            positionOf[j] = static_cast<std::int32_t>(tree.vertexAt.size());
            tree.vertexAt.push_back(vertexAt[j]);
        }
        tree.starts.push_back(static_cast<std::int32_t>(tree.vertexAt.size()));
    }
    for (const std::int32_t f : hosts) {
        tree.parents.push_back(parents[f] == kNone ? kNone : frontOf[parents[f]]);
        for (const std::int32_t i : partition.rowsOf(f)) tree.rows.push_back(positionOf[i]);
        tree.rowStarts.push_back(std::ssize(tree.rows));
    }
    tree.positionOf = inverse(tree.vertexAt);
    return tree;
}

} // namespace

FrontTree frontTreeOf(const SparsePattern& pattern, std::span<const std::int32_t> vertexAt)
{
    const Indices given(vertexAt.begin(), vertexAt.end());
    const Indices parentsGiven = eliminationTree(pattern, given, inverse(given));
    WorkScope::tell();
    const Indices order = postorder(parentsGiven), positionOf = inverse(order);
    Indices vertices(order.size()), parents(order.size(), kNone);
    for (std::int32_t j = 0; j < std::ssize(order); ++j) {
        vertices[j] = given[order[j]];
        const std::int32_t parent = parentsGiven[order[j]];
        if (parent != kNone) parents[j] = positionOf[parent];
    }
    const Partition partition(pattern, vertices, parents);
    return layOut(partition, Amalgamation(partition, parentsOf(partition)), vertices);
}

FrontForecast forecastOf(const FrontTree& tree)
{
    FrontForecast forecast;
    std::vector<std::int64_t> waiting(tree.parents.size()); // cells that children leave
    std::int64_t now = 0;
    for (std::int32_t f = 0; f < tree.fronts(); ++f) {
        const std::int64_t columns = tree.columnsOf(f), below = std::ssize(tree.rowsOf(f)),
                           size = columns + below;
        forecast.entries += entriesOf(columns, below);
        for (std::int64_t r = below; r < size; ++r)
            forecast.operations += static_cast<double>(r) * static_cast<double>(r + 1);
        forecast.cellsAtOnce = std::max(forecast.cellsAtOnce, now + size * size);
        now += below * below - waiting[f];
        if (tree.parents[f] != kNone) waiting[tree.parents[f]] += below * below;
    }
    return forecast;
}

} // namespace Velmar::Lintrix::detail::multifrontal
