#include <lintrix/systems/roads/node_graph.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace Velmar::Lintrix::detail::roads {

namespace {

constexpr std::int32_t kSamples = 15; // nodes from which the growth is looked at
constexpr std::int32_t kPart = 8;     // of the graph, up to which it is

std::size_t at(std::int64_t index)
{
    return static_cast<std::size_t>(index);
}

/// Whether unknown i + 1 has the neighbours of unknown i. A row of the triangle begins with its diagonal,
/// which the row before names as a neighbour.
bool continuesNode(const EngineMatrix& matrix, std::int32_t i)
{
    const auto row = [&](std::int32_t r) { return matrix.ja + (matrix.ia[r] - 1); };
    const std::int32_t skipped = matrix.isTriangle() ? 1 : 0;
    return row(i + 1) - row(i) >= skipped && std::equal(row(i) + skipped, row(i + 1), row(i + 1), row(i + 2));
}

/// Between half the radius and the whole one. A node fills half a step around it.
double growthOf(const std::vector<std::int32_t>& levels)
{
    if (levels.empty()) return 0.0;
    const std::size_t radius = levels.size() - 1, half = radius / 2;
    if (radius < 2) return std::numeric_limits<double>::infinity();
    double within = 0.0, withinHalf = 0.0;
    for (std::size_t r = 0; r <= radius; ++r) {
        within += levels[r];
        if (r <= half) withinHalf += levels[r];
    }
    return std::log(within / withinHalf) /
           std::log((static_cast<double>(radius) + 0.5) / (static_cast<double>(half) + 0.5));
}

} // namespace

std::int32_t nodesOf(const EngineMatrix& matrix)
{
    std::int32_t nodes = matrix.n;
    for (std::int32_t i = 0; i + 1 < matrix.n; ++i) nodes -= continuesNode(matrix, i) ? 1 : 0;
    return nodes;
}

NodeGraph::NodeGraph(const EngineMatrix& matrix) : nodeOf_(at(matrix.n))
{
    for (std::int32_t i = 0; i < matrix.n; ++i) {
        if (i == 0 || !continuesNode(matrix, i - 1)) firstOf_.push_back(i);
        nodeOf_[at(i)] = static_cast<std::int32_t>(firstOf_.size()) - 1;
    }
    starts_.assign(firstOf_.size() + 1, 0);
    forEachEdge(matrix, [this](std::int32_t p, std::int32_t) { ++starts_[at(p)]; });
    std::int64_t next = 0; // each length becomes the place of the first neighbour
    for (std::int64_t& length : starts_) next += std::exchange(length, next);
    neighbours_.resize(at(next));
    std::vector<std::int64_t> cursor = starts_;
    forEachEdge(matrix, [&](std::int32_t p, std::int32_t q) { neighbours_[at(cursor[at(p)]++)] = q; });
}

/// Visits p and q, and q and p, for each entry of the first unknown of a node.
template <class Visit>
void NodeGraph::forEachEdge(const EngineMatrix& matrix, Visit visit) const
{
    for (std::int32_t p = 0; p < static_cast<std::int32_t>(firstOf_.size()); ++p) {
        const std::int32_t first = firstOf_[at(p)];
        std::int32_t before = p; // the unknowns of a node stand side by side
        for (std::int32_t k = matrix.ia[first] - 1; k < matrix.ia[first + 1] - 1; ++k) {
            const std::int32_t q = nodeOf_[at(matrix.ja[k] - 1)];
            if (q == p || std::exchange(before, q) == q) continue;
            visit(p, q);
            visit(q, p);
        }
    }
}

std::vector<std::int32_t> NodeGraph::levelsFrom(std::int32_t root, std::int32_t limit) const
{
    std::vector<bool> seen(at(nodes()));
    std::vector<std::int32_t> queue{root}, levels;
    seen[at(root)] = true;
    for (std::size_t begin = 0; queue.size() <= at(limit);) {
        const std::size_t end = queue.size();
        if (begin == end) return {};
        levels.push_back(static_cast<std::int32_t>(end - begin));
        for (; begin < end; ++begin) {
            const std::int32_t p = queue[begin];
            for (std::int64_t k = starts_[at(p)]; k < starts_[at(p) + 1]; ++k) {
                const std::int32_t q = neighbours_[at(k)];
                if (seen[at(q)]) continue;
                seen[at(q)] = true;
                queue.push_back(q);
            }
        }
    }
    return levels;
}

double NodeGraph::growth() const
{
    std::array<double, kSamples> found{};
    double place = 0.5; // multiples of the golden section: spread out, and never in step with a grid
    for (double& exponent : found) {
        const auto root = static_cast<std::int32_t>(place * nodes());
        exponent = growthOf(levelsFrom(root, nodes() / kPart));
        place = std::fmod(place + std::numbers::phi, 1.0);
    }
    std::ranges::sort(found);
    return found[kSamples / 2];
}

} // namespace Velmar::Lintrix::detail::roads
