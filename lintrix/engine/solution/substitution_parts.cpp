#include <lintrix/engine/solution/substitution_parts.h>

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr double kCuts[] = {1, 2, 4, 8}; // subtrees a part, at least
constexpr double kWorthWhile = 0.9;
constexpr double kLeastEntries = 20000; // as long as it takes to call the threads

class PartDealer {
public:
    PartDealer(const FactorStructure& structure, int parts)
        : structure_(structure), parts_(parts), parent_(Scratch<int>::uninitialised(structure.supernodes())),
          partOf_(Scratch<int>::uninitialised(structure.supernodes())),
          subtrees_(Scratch<int>::uninitialised(structure.supernodes())),
          entries_(Scratch<double>::zeroed(structure.supernodes())), load_(Scratch<double>::zeroed(parts))
    {
    }
    static BlockSum blocks(int supernodes, int parts)
    {
        BlockSum sum;
        for (int lists = 0; lists < 3; ++lists) sum.add<int>(supernodes);
        return sum.add<double>(supernodes).add<double>(parts);
    }
    std::int64_t bytesMissing() const { return missingBytes(parent_, partOf_, subtrees_, entries_, load_); }

    bool deal()
    {
        gatherEntries();
        double least = all_;
        double best = 0.0;
        for (const double cut : kCuts) {
            const double limit = all_ / (cut * parts_), longest = pack(limit);
            if (longest < least) {
                least = longest;
                best = limit;
            }
        }
        pack(best);
        assign(best);
        return least < kWorthWhile * all_ && all_ - least > kLeastEntries;
    }

    void list(std::span<int> starts, std::span<PositionRange> ranges) const
    {
        std::fill(starts.begin(), starts.end(), 0);
        forEachRun([&](int part, PositionRange) { ++starts[part + 1]; });
        std::partial_sum(starts.begin(), starts.end(), starts.begin());
        forEachRun([&](int part, PositionRange run) { ranges[starts[part]++] = run; });
        std::copy_backward(starts.begin(), starts.end() - 1, starts.end());
        starts[0] = 0;
    }

private:
    // What a substitution reads of J: its panel, and a position for each row.
    double own(int J) const { return (structure_.width(J) + 1.0) * structure_.height(J); }

    // Of each subtree, and of all.
    void gatherEntries()
    {
        for (int J = 0; J < structure_.supernodes(); ++J) {
            parent_[J] = structure_.parent(J);
            entries_[J] += own(J);
            (parent_[J] < 0 ? all_ : entries_[parent_[J]]) += entries_[J];
        }
    }

    bool isRootOfSubtree(int J, double limit) const
    {
        return entries_[J] <= limit && (parent_[J] < 0 || entries_[parent_[J]] > limit);
    }

    // Deals out the largest subtrees of up to `limit` entries, each to the part with the least so far.
    // Returns the entries of the fullest part and of all that is above the subtrees.
    double pack(double limit)
    {
        int count = 0;
        double above = all_;
        for (int J = 0; J < structure_.supernodes(); ++J) {
            if (!isRootOfSubtree(J, limit)) continue;
            subtrees_[count++] = J;
            above -= entries_[J];
        }
        std::sort(subtrees_.get(), subtrees_.get() + count, [this](int a, int b) {
            return entries_[a] != entries_[b] ? entries_[a] > entries_[b] : a < b;
        });
        double *const first = load_.get(), *const end = first + parts_;
        std::fill(first, end, 0.0);
        for (int k = 0; k < count; ++k) {
            double* const least = std::min_element(first, end);
            *least += entries_[subtrees_[k]];
            partOf_[subtrees_[k]] = static_cast<int>(least - first);
        }
        return above + *std::max_element(first, end);
    }

    // The supernodes of each subtree follow its root.
    void assign(double limit)
    {
        for (int J = structure_.supernodes() - 1; J >= 0; --J) {
            if (entries_[J] > limit)
                partOf_[J] = parts_;
            else if (!isRootOfSubtree(J, limit))
                partOf_[J] = partOf_[parent_[J]];
        }
    }

    template <class Visit>
    void forEachRun(Visit visit) const
    {
        for (int first = 0, last; first < structure_.supernodes(); first = last + 1) {
            last = first;
            while (last + 1 < structure_.supernodes() && partOf_[last + 1] == partOf_[first]) ++last;
            visit(partOf_[first], PositionRange{first, last});
        }
    }

    const FactorStructure& structure_;
    int parts_;
    Scratch<int> parent_, partOf_, subtrees_;
    Scratch<double> entries_; // by supernode, of its subtree
    Scratch<double> load_;    // by part
    double all_ = 0.0;
};

} // namespace

bool areConsecutive(std::span<const PositionRange> subgraphs) noexcept
{
    int next = 0;
    for (const auto [first, last] : subgraphs) {
        if (first != next || last < first) return false;
        next = last + 1;
    }
    return true;
}

Failure dealOutParts(const FactorStructure& structure, int parts, std::span<int> starts,
                     std::span<PositionRange> ranges, bool& worthWhile)
{
    PartDealer dealer(structure, parts);
    if (const std::int64_t bytes = dealer.bytesMissing(); bytes > 0)
        return outOfMemory(BlockCode::RealWork, bytes);
    worthWhile = dealer.deal();
    dealer.list(starts, ranges);
    return {};
}

BlockSum partDealingBlocks(int supernodes, int parts) noexcept
{
    return PartDealer::blocks(supernodes, parts);
}

} // namespace Velmar::Lintrix::detail::engine
