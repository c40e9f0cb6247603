#include <lintrix/engine/analysis/symbolic/factor_structure.h>

#include <lintrix/engine/call/memory.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Builds the row lists, supernode after supernode. Children hang in lists by parent, threaded through one
// array.
class RowLists {
public:
    RowLists(const Graph& graph, const FactorStructure& structure, std::span<int> rows, std::span<int> work)
        : graph_(graph), structure_(structure), rows_(rows), markedBy_(part(work, 0)), added_(part(work, 1)),
          firstChild_(part(work, 2)), nextChild_(part(work, 3))
    {
        std::fill(markedBy_.begin(), markedBy_.end(), -1);
        std::fill(firstChild_.begin(), firstChild_.end(), -1);
    }

    // Returns whether all are filled: else the work has to end.
    bool fill()
    {
        const WorkMeter asking(0.0); // tells nothing
        WorkShare share(asking);
        for (int J = 0; J < structure_.supernodes(); ++J) {
            if (!share.add(kCellsOfARow * structure_.height(J))) return false;
            fillOne(J);
            if (const int p = structure_.parent(J); p >= 0) {
                nextChild_[J] = firstChild_[p];
                firstChild_[p] = J;
            }
        }
        return true;
    }

private:
    static constexpr double kCellsOfARow = 8.0; // which several children hand up

    std::span<int> part(std::span<int> work, std::size_t which) const
    {
        const std::size_t n = static_cast<std::size_t>(graph_.vertices());
        return work.subspan(which * n, n);
    }

    std::span<int> below(int J) const
    {
        return rows_.subspan(static_cast<std::size_t>(structure_.rowStarts[J] + structure_.width(J)),
                             static_cast<std::size_t>(structure_.height(J) - structure_.width(J)));
    }

    // The rows of child C behind the columns of J, sorted.
    std::span<const int> handedUp(int C, int J) const
    {
        const std::span<const int> list = structure_.rowsBelow(C);
        return list.subspan(static_cast<std::size_t>(
            std::lower_bound(list.begin(), list.end(), structure_.starts[J + 1]) - list.begin()));
    }

    std::span<const int> longestHandedUp(int J) const
    {
        std::span<const int> longest;
        for (int C = firstChild_[J]; C >= 0; C = nextChild_[C]) {
            if (const auto list = handedUp(C, J); list.size() > longest.size()) longest = list;
        }
        return longest;
    }

    void fillOne(int J)
    {
        const std::span<int> list = below(J);
        std::iota(list.data() - structure_.width(J), list.data(), structure_.starts[J]);
        const std::span<const int> longest = longestHandedUp(J);
        if (longest.size() == list.size()) { // nothing can come in addition
            std::copy(longest.begin(), longest.end(), list.begin());
        } else {
            join(J, longest, list);
        }
    }

    void join(int J, std::span<const int> longest, std::span<int> list)
    {
        for (const int row : longest) markedBy_[row] = J;
        int *const firstAdded = added_.data(), *end = firstAdded;
        const auto add = [&](int row) {
            if (markedBy_[row] == J) return;
            markedBy_[row] = J;
            *end++ = row;
        };
        for (int C = firstChild_[J]; C >= 0; C = nextChild_[C]) {
            const auto other = handedUp(C, J);
            if (other.data() != longest.data()) std::for_each(other.begin(), other.end(), add);
        }
        for (int j = structure_.starts[J]; j < structure_.starts[J + 1]; ++j) {
            const auto inA = graph_.of(j);
            std::for_each(std::lower_bound(inA.begin(), inA.end(), structure_.starts[J + 1]), inA.end(), add);
        }
        std::sort(firstAdded, end);
        std::merge(longest.begin(), longest.end(), firstAdded, end, list.begin());
    }

    const Graph& graph_;
    const FactorStructure& structure_;
    std::span<int> rows_;
    std::span<int> markedBy_; // by row: the supernode that has it in its list
    std::span<int> added_;    // rows that the longest child's list does not have
    std::span<int> firstChild_, nextChild_;
};

// Supernode K gives to each supernode that owns rows of K one update: K's rows from there on by K's rows
// there.
std::int64_t largestUpdate(const FactorStructure& structure)
{
    std::int64_t largest = 0;
    for (int K = 0; K < structure.supernodes(); ++K) {
        const std::span<const int> rows = structure.rowsBelow(K);
        for (std::size_t from = 0, to = 0; from < rows.size(); from = to) {
            const int J = structure.supernodeOf[rows[from]];
            while (to < rows.size() && structure.supernodeOf[rows[to]] == J) ++to;
            largest = std::max(largest, static_cast<std::int64_t>((rows.size() - from) * (to - from)));
        }
    }
    return largest;
}

} // namespace

Failure rowListStarts(std::span<const int> starts, std::span<const int> count, std::int64_t mostIndices,
                      std::span<std::int64_t> rowStarts)
{
    const std::size_t supernodes = starts.size() - 1;
    rowStarts[0] = 0;
    for (std::size_t J = 0; J < supernodes; ++J) {
        const int height = count[static_cast<std::size_t>(starts[J])];
        if (height > mostIndices - rowStarts[J]) return {Error::Reordering, -20};
        rowStarts[J + 1] = rowStarts[J] + height;
    }
    return {};
}

Failure fillRowLists(const Graph& graph, const FactorStructure& structure, std::span<int> rows)
{
    const auto work = Scratch<int>::uninitialised(4 * std::int64_t{graph.vertices()});
    if (!work) return outOfMemory(BlockCode::Transient, missingBytes(work));
    return RowLists(graph, structure, rows, work.span()).fill() ? Failure{} : stopped();
}

FactorSizes panelStarts(const FactorStructure& structure, std::span<std::int64_t> lowerStarts,
                        std::span<std::int64_t> upperStarts)
{
    FactorSizes sizes;
    const bool unsymmetric = !upperStarts.empty();
    std::int64_t upper = 0;
    for (int J = 0; J < structure.supernodes(); ++J) {
        const std::int64_t width = structure.width(J), height = structure.height(J);
        lowerStarts[static_cast<std::size_t>(J)] = sizes.lower;
        if (unsymmetric) upperStarts[static_cast<std::size_t>(J)] = upper;
        sizes.lower += height * width;
        upper += (height - width) * width;
        sizes.rowIndices += height;
        sizes.fill += height * width - width * (width - 1) / 2;
        sizes.tallest = std::max(sizes.tallest, structure.height(J));
        sizes.widest = std::max(sizes.widest, structure.width(J));
    }
    lowerStarts.back() = sizes.lower;
    if (unsymmetric) {
        upperStarts.back() = upper;
        sizes.upper = upper;
    }
    sizes.largestUpdate = largestUpdate(structure);
    return sizes;
}

// A supernode is a chain of the tree. Its way up begins at its first row below, which may lie within the
// parent's chain; the parent's number is higher.
int treeHeight(const FactorStructure& structure, std::span<int> work)
{
    int tallest = 0;
    for (int J = structure.supernodes() - 1; J >= 0; --J) {
        const int parent = structure.parent(J);
        int& above = work[J] = 0;
        if (parent >= 0) above = structure.starts[parent + 1] - structure.rowsBelow(J).front() + work[parent];
        tallest = std::max(tallest, structure.width(J) + above);
    }
    return tallest;
}

} // namespace Velmar::Lintrix::detail::engine
