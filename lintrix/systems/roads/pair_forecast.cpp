#include <lintrix/systems/roads/pair_forecast.h>

#include <lintrix/systems/structure/bipartite_matching.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::roads {

namespace {

std::size_t at(std::int32_t index)
{
    return static_cast<std::size_t>(index);
}

std::vector<std::int32_t> inverseOf(const std::vector<std::int32_t>& vertexAt)
{
    std::vector<std::int32_t> positionOf(vertexAt.size());
    for (std::size_t k = 0; k < vertexAt.size(); ++k)
        positionOf[at(vertexAt[k])] = static_cast<std::int32_t>(k);
    return positionOf;
}

} // namespace

std::vector<std::int32_t> pairOrder(const std::vector<std::int32_t>& columnOf)
{
    const auto n = static_cast<std::int32_t>(columnOf.size());
    std::vector<std::int32_t> order, cycle, leftOver;
    std::vector<bool> taken(columnOf.size());
    for (std::int32_t i = 0; i < n; ++i) {
        if (columnOf[at(i)] == i) order.push_back(i);
        taken[at(i)] = columnOf[at(i)] == i;
    }
    for (std::int32_t first = 0; first < n; ++first) {
        cycle.clear();
        for (std::int32_t i = first; !taken[at(i)]; i = columnOf[at(i)]) {
            taken[at(i)] = true;
            cycle.push_back(i);
        }
        const std::ptrdiff_t odd = cycle.size() % 2;
        leftOver.insert(leftOver.end(), cycle.begin(), cycle.begin() + odd);
        order.insert(order.end(), cycle.begin() + odd, cycle.end());
    }
    order.insert(order.end(), leftOver.rbegin(), leftOver.rend());
    return order;
}

std::int64_t factorEntries(const SparsePattern& pattern, const std::vector<std::int32_t>& vertexAt,
                           std::int64_t limit)
{
    const std::vector<std::int32_t> positionOf = inverseOf(vertexAt);
    std::vector<std::int32_t> parent(vertexAt.size(), -1), passedBy(vertexAt.size(), -1);
    std::int64_t entries = 0;
    for (std::int32_t k = 0; k < pattern.rows && entries <= limit; ++k) {
        passedBy[at(k)] = k;
        ++entries;
        const std::int32_t row = vertexAt[at(k)];
        for (const std::int32_t column : pattern.row(row)) {
            std::int32_t i = positionOf[at(column)];
            for (; i < k && passedBy[at(i)] != k; i = parent[at(i)]) {
                if (parent[at(i)] < 0) parent[at(i)] = k;
                passedBy[at(i)] = k;
                ++entries;
            }
        }
    }
    return entries;
}

std::int64_t pairEntries(const SparsePattern& pattern, std::int64_t limit)
{
    return factorEntries(pattern, pairOrder(maximumMatching(pattern).columnOf), limit);
}

} // namespace Velmar::Lintrix::detail::roads
