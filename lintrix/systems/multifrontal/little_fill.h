#pragma once
/// @file
/// Orders of elimination with little fill.

#include <lintrix/foundation/enumerations.h>
#include <lintrix/systems/multifrontal/front_tree.h>
#include <lintrix/systems/structure/sparse_pattern.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::detail::multifrontal {

/// vertexAt[position], by minimum degree or by nested dissection. @throws std::bad_alloc, what listens to the
/// work
std::vector<std::int32_t> orderOf(const SparsePattern& pattern, FillInReducingMethod method);

/// Operations from which on a dissection takes less time than it may save: they take a tenth of a second.
inline constexpr double kWorthDissecting = 2e9;

/// The tree, or where it takes many operations the one of a dissection, if that takes less. `dissected()`
/// makes it.
template <class Dissected>
FrontTree withLessWork(FrontTree tree, const Dissected& dissected)
{
    const double operations = forecastOf(tree).operations;
    if (operations < kWorthDissecting) return tree;
    FrontTree other = dissected();
    other.ordering = FillInReducingMethod::NestedDissection;
    return forecastOf(other).operations < operations ? std::move(other) : std::move(tree);
}

} // namespace Velmar::Lintrix::detail::multifrontal
