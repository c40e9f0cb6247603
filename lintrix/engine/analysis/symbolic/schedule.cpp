#include <lintrix/engine/analysis/symbolic/schedule.h>

#include <lintrix/engine/call/memory.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

void supernodesOfSubgraphs(const FactorStructure& structure, std::span<const PositionRange> subgraphs,
                           std::span<PositionRange> supernodes)
{
    const auto firstEndingAt =
        [&](int position) { // the first supernode whose last column is `position` or later
            const auto last = structure.starts.subspan(1);
            return static_cast<int>(std::upper_bound(last.begin(), last.end(), position) - last.begin());
        };
    for (std::size_t p = 0; p < subgraphs.size(); ++p) {
        const auto [first, last] = subgraphs[p];
        supernodes[p] = {firstEndingAt(first), firstEndingAt(std::max(first, last + 1)) - 1};
    }
}

Failure countUpdates(const FactorStructure& structure, std::span<const PositionRange> supernodes,
                     int independent, std::span<int> updates)
{
    const auto subgraphs = static_cast<int>(supernodes.size()), separators = subgraphs - independent;
    const auto separatorOf = Scratch<int>::uninitialised(structure.supernodes());
    if (!separatorOf) return outOfMemory(BlockCode::Transient, missingBytes(separatorOf));
    std::fill_n(separatorOf.get(), structure.supernodes(), -1);
    for (int s = 0; s < separators; ++s) {
        const auto [first, last] = supernodes[independent + s];
        for (int J = first; J <= last; ++J) separatorOf[J] = s;
    }
    std::fill(updates.begin(), updates.end(), 0);
    for (int p = 0; p < independent; ++p) {
        for (int K = supernodes[p].first; K <= supernodes[p].last; ++K) {
            int counted = -1; // rows ascend, and so do the separators that own them
            for (const int row : structure.rowsBelow(K)) {
                const int s = separatorOf[structure.supernodeOf[row]];
                if (s < 0 || s == counted) continue;
                ++updates[p * separators + s];
                counted = s;
            }
        }
    }
    return {};
}

int listTargets(std::span<const int> updates, int independent, int separators, std::span<int> starts,
                std::span<int> targets)
{
    int next = 0;
    for (int p = 0; p < independent; ++p) {
        starts[p] = next;
        for (int s = 0; s < separators; ++s) {
            if (updates[p * separators + s] > 0) targets[next++] = s;
        }
    }
    starts[independent] = next;
    return next;
}

int chunkOfSupernodes(int supernodes, int threads) noexcept
{
    constexpr int kPiecesPerThread = 64;
    return std::max(1, supernodes / (kPiecesPerThread * std::max(1, threads)));
}

} // namespace Velmar::Lintrix::detail::engine
