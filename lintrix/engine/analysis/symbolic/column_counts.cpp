#include <lintrix/engine/analysis/symbolic/column_counts.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/analysis/graph/postorder.h>
#include <lintrix/engine/analysis/symbolic/shares.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/team.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

// A postorder of the tree, beside the order of elimination.
struct Visits {
    std::span<int> number; // of each node
    std::span<int> nodeAt; // by number
    std::span<int> first;  // the least number in each node's subtree

    void arrange(std::span<const int> parent) const
    {
        const auto n = static_cast<int>(parent.size());
        numberRange({0, n - 1}, parent, first, nodeAt, number);
        for (int j = 0; j < n; ++j) nodeAt[number[j]] = j;
        std::copy(number.begin(), number.end(), first.begin());
        for (int j = 0; j < n; ++j) {
            if (parent[j] != kRoot) first[parent[j]] = std::min(first[parent[j]], first[j]);
        }
    }
};

// What one thread needs: the leaves found for its rows, and disjoint sets over the whole tree.
struct RowSubtrees {
    static constexpr int kArrays = 4;
    static constexpr double kCellsOfANode = 4.0;

    RowSubtrees(std::span<int> work, int n)
        : ancestor(work.subspan(0, size(n))), delta(work.subspan(size(n), size(n))),
          lastLeaf(work.subspan(2 * size(n), size(n))), lastFirst(work.subspan(3 * size(n), size(n)))
    {
    }

    // The root of the set of `j`: the least common ancestor of j and the column at work. Halves the path.
    int find(int j)
    {
        while (ancestor[j] != j) {
            ancestor[j] = ancestor[ancestor[j]];
            j = ancestor[j];
        }
        return j;
    }

    // Entry (row, column), row > column: counts the column if it is a new leaf of the row's subtree.
    void meet(int row, int column, int firstOfColumn)
    {
        if (firstOfColumn <= lastFirst[row]) return; // the row has an entry below this column already
        ++delta[column];
        if (lastLeaf[row] != kRoot) --delta[find(lastLeaf[row])];
        lastLeaf[row] = column;
        lastFirst[row] = firstOfColumn;
    }

    // As far as `share` goes on.
    void count(const Graph& graph, std::span<const int> parent, const Visits& visits, int lowest, int highest,
               WorkShare& share)
    {
        const auto n = static_cast<int>(parent.size());
        for (int j = 0; j < n; ++j) {
            ancestor[j] = j;
            delta[j] = 0;
            lastLeaf[j] = lastFirst[j] = kRoot;
        }
        for (const int j : visits.nodeAt) {
            const std::span<const int> rows = graph.of(j);
            if (!share.add(kCellsOfANode + static_cast<double>(rows.size()))) return;
            const int from = std::max(lowest, j + 1);
            for (auto row = std::lower_bound(rows.begin(), rows.end(), from);
                 row != rows.end() && *row < highest; ++row) {
                meet(*row, j, visits.first[j]);
            }
            if (parent[j] != kRoot) ancestor[j] = parent[j];
        }
    }

    std::span<int> ancestor, delta, lastLeaf, lastFirst;

private:
    static std::size_t size(int n) { return static_cast<std::size_t>(n); }
};

// Adds up the threads' leaves, and then over the tree. A node's diagonal is counted at leaves of the tree
// alone: a node with children has it from them, one for each, of which all but one are taken back.
void gather(std::span<const int> work, int threads, std::span<const int> parent, std::span<int> count)
{
    const std::size_t n = parent.size();
    std::fill(count.begin(), count.end(), 1);
    for (const int p : parent) {
        if (p != kRoot) count[p] = 0;
    }
    for (std::size_t t = 0; t < static_cast<std::size_t>(threads); ++t) {
        const auto delta = work.subspan((RowSubtrees::kArrays * t + 1) * n, n);
        for (std::size_t j = 0; j < n; ++j) count[j] += delta[j];
    }
    for (const int p : parent) {
        if (p != kRoot) --count[p];
    }
    for (std::size_t j = 0; j < n; ++j) {
        if (parent[j] != kRoot) count[parent[j]] += count[j];
    }
}

} // namespace

int columnCountThreads(int threads, int n) noexcept
{
    threads = std::clamp(threads, 1, 16);
    while (threads > 1 && 8 * std::int64_t{threads} * n > 512000000) threads /= 2;
    return threads;
}

Failure columnCounts(const Graph& graph, std::span<const int> parent, int threads, std::span<int> count)
{
    const auto n = static_cast<int>(parent.size());
    const auto order = Scratch<int>::uninitialised(3 * std::int64_t{n});
    threads = threadsRepaidBy(static_cast<std::int64_t>(graph.neighbours.size()),
                              std::min(columnCountThreads(threads, n), n));
    auto work = Scratch<int>::uninitialised(std::int64_t{RowSubtrees::kArrays} * threads * n);
    while (!work && threads > 1) {
        threads /= 2;
        work = Scratch<int>::uninitialised(std::int64_t{RowSubtrees::kArrays} * threads * n);
    }
    if (!order || !work) return outOfMemory(BlockCode::Transient, missingBytes(order, work));
    const std::size_t size = parent.size();
    const Visits visits{order.span().first(size), order.span().subspan(size, size), order.span().last(size)};
    visits.arrange(parent);

    const WorkMeter asking(0.0); // tells nothing
    const std::size_t each = static_cast<std::size_t>(RowSubtrees::kArrays) * parent.size();
    runParts(threads, threads, [&](int t) {
        const auto bound = [&](int part) { return static_cast<int>(std::int64_t{n} * part / threads); };
        WorkShare share(asking);
        RowSubtrees subtrees(work.span().subspan(each * static_cast<std::size_t>(t), each), n);
        subtrees.count(graph, parent, visits, bound(t), bound(t + 1), share);
    });
    if (!asking.goesOn()) return stopped();
    gather(work.span(), threads, parent, count);
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
