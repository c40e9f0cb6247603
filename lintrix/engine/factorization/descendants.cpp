#include <lintrix/engine/factorization/descendants.h>

#include <algorithm>
#include <cstddef>

namespace Velmar::Lintrix::detail::engine {

void listDescendants(const FactorStructure& structure, const DescendantLists& lists)
{
    // starts[J] runs from the start of list J to its end, which is where the next begins.
    int first = 0;
    forEachRowBelow(structure, [&](int J, int K, int i, bool begins) {
        first = begins ? i : first;
        const std::int64_t end = lists.starts[J] += begins;
        lists.entries[static_cast<std::size_t>(end) - 1] = {K, first, i + 1};
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
