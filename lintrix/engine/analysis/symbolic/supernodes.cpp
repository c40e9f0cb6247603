#include <lintrix/engine/analysis/symbolic/supernodes.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

Partition partitionIntoSupernodes(std::span<const int> parent, std::span<const int> count, int panelWidth,
                                  std::span<int> starts, std::span<int> supernodeOf)
{
    const auto n = static_cast<int>(parent.size());
    Partition partition;
    int run = 0; // columns of the run that ends at j
    for (int j = 0; j < n; ++j) {
        const bool continues = j > 0 && parent[j - 1] == j && count[j] + 1 == count[j - 1];
        run = continues ? run + 1 : 1;
        partition.longestRun = std::max(partition.longestRun, run);
        const bool joins = continues && j - starts[partition.supernodes - 1] < panelWidth;
        if (!joins) starts[partition.supernodes++] = j;
        supernodeOf[j] = partition.supernodes - 1;
    }
    starts[partition.supernodes] = n;
    return partition;
}

} // namespace Velmar::Lintrix::detail::engine
