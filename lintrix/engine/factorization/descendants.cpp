#include <lintrix/engine/factorization/descendants.h>

#include <algorithm>
#include <cstddef>

namespace Velmar::Lintrix::detail::engine {

namespace {

// Visits (target J, source K, first, last) for all K in ascending order.
template <class Visit>
void forEachUpdate(const FactorStructure& structure, Visit visit)
{
    for (int K = 0; K < structure.supernodes(); ++K) {
        const std::span<const int> rows = structure.rowsBelow(K);
        const auto end = static_cast<int>(rows.size());
        for (int first = 0, last = 0; first < end; first = last) {
            const int J = structure.supernodeOf[rows[first]], behind = structure.starts[J + 1];
            while (last < end && rows[last] < behind) ++last;
            visit(J, Descendant{K, first, last});
        }
    }
}

} // namespace

std::int64_t countDescendants(const FactorStructure& structure, std::span<std::int64_t> starts)
{
    std::fill(starts.begin(), starts.end(), 0);
    forEachUpdate(structure, [&](int J, const Descendant&) { ++starts[J + 1]; });
    for (int J = 0; J < structure.supernodes(); ++J) starts[J + 1] += starts[J];
    return starts.back();
}

std::int64_t countDescendants(const FactorStructure& structure)
{
    std::int64_t count = 0;
    forEachUpdate(structure, [&](int, const Descendant&) { ++count; });
    return count;
}

void listDescendants(const FactorStructure& structure, const DescendantLists& lists)
{
    // starts[J] runs from the start of list J to its end, which is where the next begins.
    forEachUpdate(structure, [&](int J, const Descendant& descendant) {
        lists.entries[static_cast<std::size_t>(lists.starts[J]++)] = descendant;
    });
    std::copy_backward(lists.starts.begin(), lists.starts.end() - 1, lists.starts.end());
    lists.starts.front() = 0;
}

int lastTogether(const FactorStructure& structure, int J, int last, int most) noexcept
{
    last = std::min(last, J + most - 1);
    while (J < last && structure.parent(J) == J + 1 &&
           structure.height(J + 1) == structure.height(J) - structure.width(J))
        ++J;
    return J;
}

} // namespace Velmar::Lintrix::detail::engine
