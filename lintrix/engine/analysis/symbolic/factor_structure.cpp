#include <lintrix/engine/analysis/symbolic/factor_structure.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/work.h>

#include <algorithm>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Builds the row lists, row after row: a row stands in the lists of all supernodes on the ways up the tree
// from the entries left of its diagonal to its own. Each of these updates the row's supernode with the run of
// rows that it has there, and the cells of an update grow with its rows: the largest number on the way is
// that of the largest.
class RowLists {
public:
    RowLists(const FactorStructure& structure, std::span<const int> parent, std::span<int> rows,
             std::span<std::int64_t> updatesOf)
        : structure_(structure), rows_(rows), updatesOf_(updatesOf),
          ways_(Scratch<Way>::uninitialised(structure.supernodes()))
    {
        for (int J = 0; ways_ && J < structure.supernodes(); ++J) begin(J, parent);
    }

    std::int64_t missingBytes() const { return ways_.missingBytes(); }
    std::int64_t largestUpdate() const { return largestUpdate_; }

    // Returns whether all are filled: else the work has to end.
    bool fill(const Graph& earlier, const Ordering& ordering)
    {
        const WorkMeter asking(0.0); // tells nothing
        WorkShare share(asking);
        for (int row = 0; row < earlier.vertices(); ++row) {
            const int owner = structure_.supernodeOf[row];
            Entered entered;
            ways_[owner].lastRow = row;
            for (const int u : earlier.of(ordering.vertexAt[row]))
                enter(row, owner, structure_.supernodeOf[ordering.positionOf[u]], entered);
            updatesOf_[owner] += entered.updates;
            if (!share.add(kCellsOfARow * (1.0 + entered.lists))) return false;
        }
        return true;
    }

private:
    static constexpr double kCellsOfARow = 8.0; // wherever the lists lie

    struct Way {
        int lastRow; // that came by
        int parent;
        std::int64_t end;    // of the list so far
        std::int64_t behind; // the end to come
        std::int64_t run;    // where the last run of rows with one owner begins
    };

    // What a row came to.
    struct Entered {
        int lists = 0, updates = 0;
    };

    void begin(int J, std::span<const int> parent)
    {
        const int above = parent[static_cast<std::size_t>(structure_.starts[J + 1]) - 1];
        int* const list = rows_.data() + structure_.rowStarts[J];
        std::iota(list, list + structure_.width(J), structure_.starts[J]);
        const std::int64_t below = structure_.rowStarts[J] + structure_.width(J);
        ways_[J] = {kRoot, above == kRoot ? kRoot : structure_.supernodeOf[above], below,
                    structure_.rowStarts[J + 1], below};
    }

    // From supernode J up to where the row has come by. By no rule that a processor could foresee does a row
    // begin an update: a product takes the place of a jump.
    void enter(int row, int owner, int J, Entered& entered)
    {
        const int firstOfOwner = structure_.starts[owner];
        for (Way* way = &ways_[J]; way->lastRow != row; way = &ways_[way->parent], ++entered.lists) {
            const bool begins = way->lastRow < firstOfOwner;
            const std::int64_t end = way->end, run = way->run + begins * (end - way->run);
            entered.updates += begins;
            *way = {row, way->parent, end + 1, way->behind, run};
            rows_[static_cast<std::size_t>(end)] = row;
            largestUpdate_ = std::max(largestUpdate_, (way->behind - run) * (end + 1 - run));
        }
    }

    const FactorStructure& structure_;
    std::span<int> rows_;
    std::span<std::int64_t> updatesOf_;
    std::int64_t largestUpdate_ = 0;
    Scratch<Way> ways_;
};

// Of the lists of descendants, from their lengths.
UpdateSizes sizesOf(std::span<std::int64_t> lengths, std::int64_t largest)
{
    std::exclusive_scan(lengths.begin(), lengths.end(), lengths.begin(), std::int64_t{0});
    return {lengths.back(), largest};
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
                     const FactorStructure& structure, std::span<int> rows,
                     std::span<std::int64_t> descendantStarts, UpdateSizes& sizes)
{
    std::ranges::fill(descendantStarts, 0);
    RowLists lists(structure, parent, rows, descendantStarts);
    if (const std::int64_t bytes = lists.missingBytes(); bytes > 0)
        return outOfMemory(BlockCode::Transient, bytes);
    if (!lists.fill(earlier, ordering)) return stopped();
    sizes = sizesOf(descendantStarts, lists.largestUpdate());
    return {};
}

UpdateSizes measureUpdates(const FactorStructure& structure, std::span<std::int64_t> descendantStarts)
{
    std::ranges::fill(descendantStarts, 0);
    std::int64_t largest = 0, first = 0; // in registers
    forEachRowBelow(structure, [&](int J, int K, int i, bool begins) {
        first = begins ? i : first;
        const std::int64_t rows = structure.height(K) - structure.width(K) - first;
        largest = std::max(largest, rows * (i + 1 - first));
        descendantStarts[J] += begins;
    });
    return sizesOf(descendantStarts, largest);
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
