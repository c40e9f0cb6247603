#include <lintrix/engine/analysis/ordering/given_ordering.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

Failure takeOrdering(std::span<const int> perm, Ordering ordering)
{
    constexpr int kFree = -1;
    const auto n = static_cast<int>(perm.size());
    std::ranges::fill(ordering.positionOf, kFree);
    for (int k = 0; k < n; ++k) {
        const int equation = perm[k];
        if (equation < 1 || equation > n || ordering.positionOf[equation - 1] != kFree) {
            return {Error::Reordering, kInconsistentPermutation};
        }
        ordering.vertexAt[k] = equation - 1;
        ordering.positionOf[equation - 1] = k;
    }
    return {};
}

void copyOrdering(const Ordering& ordering, std::span<int> perm)
{
    std::ranges::transform(ordering.vertexAt, perm.begin(), [](int vertex) { return vertex + 1; });
}

} // namespace Velmar::Lintrix::detail::engine
