#include <lintrix/engine/analysis/ordering/tree_parts.h>

#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/call/memory.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kNone = -1;        // the end of a list of trees
constexpr int kInherited = -1;   // a node's range is that of its parent
constexpr double kBalance = 1.2; // what a side may have, over its share

// The two sides of a cut.
struct Sides {
    std::array<double, 2> share{};          // of the nodes, together 1
    std::array<double, 2> nodes{};          // what they have
    std::array<int, 2> trees{kNone, kNone}; // lists of their trees

    int poorer() const { return nodes[0] * share[1] <= nodes[1] * share[0] ? 0 : 1; }
    bool balanced() const
    {
        const double all = nodes[0] + nodes[1];
        return nodes[0] <= kBalance * share[0] * all && nodes[1] <= kBalance * share[1] * all;
    }
};

class TreeCutter {
public:
    TreeCutter(std::span<const int> parent, int parts, std::span<int> rangeOf)
        : parent_(parent), parts_(parts), rangeOf_(rangeOf), size_(Scratch<int>::uninitialised(nodes())),
          child_(Scratch<int>::uninitialised(nodes())), sibling_(Scratch<int>::uninitialised(nodes())),
          heap_(Scratch<int>::uninitialised(nodes())),
          treesAt_(Scratch<int>::uninitialised(2 * std::int64_t{parts})),
          leavesAt_(Scratch<int>::uninitialised(2 * std::int64_t{parts}))
    {
    }

    std::int64_t bytesMissing() const
    {
        return missingBytes(size_, child_, sibling_, heap_, treesAt_, leavesAt_);
    }

    void cut()
    {
        std::ranges::fill(rangeOf_, kInherited);
        countLeaves();
        treesAt_[0] = linkForest();
        for (int c = 0; c < parts_ - 1; ++c) cutPlace(c);
        for (int c = parts_ - 1; c < 2 * parts_ - 1; ++c) {
            for (int tree = treesAt_[c]; tree != kNone; tree = sibling_[tree]) rangeOf_[tree] = rangeAt(c);
        }
        for (int j = nodes() - 1; j >= 0; --j) { // parents come first
            if (rangeOf_[j] == kInherited) rangeOf_[j] = rangeOf_[parent_[j]];
        }
    }

private:
    int nodes() const { return static_cast<int>(parent_.size()); }
    int rangeAt(int place) const { return 2 * parts_ - 2 - place; }

    void countLeaves()
    {
        for (int c = 2 * parts_ - 2; c >= 0; --c) {
            leavesAt_[c] = c < parts_ - 1 ? leavesAt_[2 * c + 1] + leavesAt_[2 * c + 2] : 1;
        }
    }

    // Sizes of the subtrees and lists of children. Returns the list of roots.
    int linkForest()
    {
        std::fill_n(size_.get(), nodes(), 1);
        std::fill_n(child_.get(), nodes(), kNone);
        int roots = kNone;
        for (int j = 0; j < nodes(); ++j) {
            const bool isRoot = parent_[j] == kRoot;
            if (!isRoot) size_[parent_[j]] += size_[j];
            int& list = isRoot ? roots : child_[parent_[j]];
            sibling_[j] = list;
            list = j;
        }
        return roots;
    }

    // Ties are broken by number, so that a cut does not depend on how its list came about.
    auto bySize() const
    {
        return [this](int a, int b) { return size_[a] != size_[b] ? size_[a] < size_[b] : a < b; };
    }

    int* end() const { return heap_.get() + count_; }

    void push(int list)
    {
        for (int tree = list; tree != kNone; tree = sibling_[tree]) {
            heap_[count_++] = tree;
            std::push_heap(heap_.get(), end(), bySize());
        }
    }

    // The root of the largest tree goes to the separator, its children become trees.
    void takeOffTop(int range)
    {
        std::pop_heap(heap_.get(), end(), bySize());
        const int top = heap_[--count_];
        rangeOf_[top] = range;
        push(child_[top]);
    }

    // Tree after tree, the largest first, to the side that is further from its share.
    void pack(Sides& sides)
    {
        sides.nodes = {};
        sides.trees = {kNone, kNone};
        std::sort(heap_.get(), end(), [this](int a, int b) { return bySize()(b, a); }); // still a heap
        for (int i = 0; i < count_; ++i) {
            const int side = sides.poorer();
            sides.nodes[side] += size_[heap_[i]];
            sibling_[heap_[i]] = std::exchange(sides.trees[side], heap_[i]);
        }
    }

    void cutPlace(int c)
    {
        const int left = 2 * c + 1, right = 2 * c + 2;
        count_ = 0;
        push(treesAt_[c]);
        Sides sides;
        sides.share = {static_cast<double>(leavesAt_[left]) / leavesAt_[c],
                       static_cast<double>(leavesAt_[right]) / leavesAt_[c]};
        const double all = std::accumulate(heap_.get(), end(), 0.0,
                                           [this](double sum, int tree) { return sum + size_[tree]; });
        if (count_ > 0) takeOffTop(rangeAt(c)); // trees may be apart without it, but no separator is empty
        double limit = kBalance * std::max(sides.share[0], sides.share[1]) * all;
        for (;;) {
            while (count_ > 0 && size_[heap_[0]] > limit) takeOffTop(rangeAt(c));
            pack(sides);
            if (sides.balanced()) break;
            limit = 0.9 * size_[heap_[0]]; // each failure lowers it by a tenth, so that there are few
        }
        treesAt_[left] = sides.trees[0];
        treesAt_[right] = sides.trees[1];
    }

    std::span<const int> parent_;
    int parts_;
    std::span<int> rangeOf_;
    Scratch<int> size_;            // nodes of the subtree
    Scratch<int> child_, sibling_; // lists of children; `sibling_` also chains the trees of a place
    Scratch<int> heap_;            // the trees of the cut at work, the largest on top
    int count_ = 0;                // of them
    Scratch<int> treesAt_;         // by place: the list of its trees
    Scratch<int> leavesAt_;        // by place: parts below it
};

} // namespace

Failure cutTree(std::span<const int> parent, int parts, std::span<int> rangeOf)
{
    TreeCutter cutter(parent, parts, rangeOf);
    if (const std::int64_t bytes = cutter.bytesMissing(); bytes > 0)
        return outOfMemory(BlockCode::Transient, bytes);
    cutter.cut();
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
