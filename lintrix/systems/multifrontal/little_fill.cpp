#include <lintrix/systems/multifrontal/little_fill.h>

#include <lintrix/engine/minimum_degree_order.h>
#include <lintrix/engine/nested_dissection_order.h>
#include <lintrix/services/work.h>

#include <new>

namespace Velmar::Lintrix::detail::multifrontal {

std::vector<std::int32_t> orderOf(const SparsePattern& pattern, FillInReducingMethod method)
{
    std::vector<std::int32_t> vertexAt(static_cast<std::size_t>(pattern.rows));
    const int error = method == FillInReducingMethod::MinimumDegree
                          ? MinimumDegreeOrder(pattern.starts, pattern.columns, vertexAt)
                          : NestedDissectionOrder(pattern.starts, pattern.columns, vertexAt);
    WorkScope::tell(); // raises where the work was ended
    if (error != 0) throw std::bad_alloc();
    return vertexAt;
}

} // namespace Velmar::Lintrix::detail::multifrontal
