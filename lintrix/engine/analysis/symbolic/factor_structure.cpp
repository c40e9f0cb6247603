#include <lintrix/engine/analysis/symbolic/factor_structure.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Builds the row lists, row after row: a row stands in the lists of all supernodes on the ways up the tree
// from the entries left of its diagonal to its own.
class RowLists {
public:
    RowLists(const FactorStructure& structure, std::span<const int> parent, std::span<int> rows)
        : structure_(structure), rows_(rows), ways_(Scratch<Way>::uninitialised(structure.supernodes()))
    {
        for (int J = 0; ways_ && J < structure.supernodes(); ++J) begin(J, parent);
    }

    std::int64_t missingBytes() const { return ways_.missingBytes(); }

    // Returns whether all are filled: else the work has to end.
    bool fill(const Graph& earlier, const Ordering& ordering)
    {
        const WorkMeter asking(0.0); // tells nothing
        WorkShare share(asking);
        for (int row = 0; row < earlier.vertices(); ++row) {
            int entered = 0;
            ways_[structure_.supernodeOf[row]].lastRow = row;
            for (const int u : earlier.of(ordering.vertexAt[row]))
                entered += enter(row, structure_.supernodeOf[ordering.positionOf[u]]);
            if (!share.add(kCellsOfARow * (1.0 + entered))) return false;
        }
        return true;
    }

private:
    static constexpr double kCellsOfARow = 8.0; // wherever the lists lie

    struct Way {
        int lastRow; // that came by
        int parent;
        std::int64_t end; // of the list so far
    };

    void begin(int J, std::span<const int> parent)
    {
        const int above = parent[static_cast<std::size_t>(structure_.starts[J + 1]) - 1];
        int* const list = rows_.data() + structure_.rowStarts[J];
        std::iota(list, list + structure_.width(J), structure_.starts[J]);
        ways_[J] = {kRoot, above == kRoot ? kRoot : structure_.supernodeOf[above],
                    structure_.rowStarts[J] + structure_.width(J)};
    }

    // From supernode J up to where the row has come by. @return  the lists that it came to
    int enter(int row, int J)
    {
        int lists = 0;
        for (Way* way = &ways_[J]; way->lastRow != row; way = &ways_[way->parent], ++lists) {
            way->lastRow = row;
            rows_[static_cast<std::size_t>(way->end++)] = row;
        }
        return lists;
    }

    const FactorStructure& structure_;
    std::span<int> rows_;
    Scratch<Way> ways_;
};

// The cells of an update grow with its rows: the largest number on the way is that of the largest.
void addUpdates(const FactorStructure& structure, FactorSizes& sizes)
{
    std::int64_t updates = 0, largest = 0, first = 0; // in registers
    forEachRowBelow(structure, [&](int, int K, int i, bool begins) {
        first = begins ? i : first;
        const std::int64_t rows = structure.height(K) - structure.width(K) - first;
        largest = std::max(largest, rows * (i + 1 - first));
        updates += begins;
    });
    sizes.updates = updates;
    sizes.largestUpdate = largest;
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

Failure fillRowLists(const Graph& earlier, const Ordering& ordering, std::span<const int> parent,
                     const FactorStructure& structure, std::span<int> rows)
{
    RowLists lists(structure, parent, rows);
    if (const std::int64_t bytes = lists.missingBytes(); bytes > 0)
        return outOfMemory(BlockCode::Transient, bytes);
    return lists.fill(earlier, ordering) ? Failure{} : stopped();
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
    addUpdates(structure, sizes);
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
