#include <lintrix/engine/analysis/dissection/weighted_graph.h>

namespace Velmar::Lintrix::detail::engine {

bool WeightedGraph::allocate(int vertices, int entries)
{
    const std::int64_t n = vertices, m = entries;
    block_ = TeamScratch<int>::uninitialised(2 * n + 1 + 2 * m);
    if (!block_) return false;
    vertices_ = vertices;
    starts_ = block_.get();
    weights_ = starts_ + n + 1;
    neighbours_ = weights_ + n;
    edgeWeights_ = neighbours_ + m;
    starts_[0] = 0;
    return true;
}

} // namespace Velmar::Lintrix::detail::engine
