#include <lintrix/engine/memory_forecast.h>

#include <lintrix/engine/factorization/factor_plan.h>
#include <lintrix/engine/solution/solve_memory.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// Kilobytes beside the factor.
struct NumericWork {
    std::int64_t factorization = 0, solve = 0;
};

/// Elements of L and U together, of the supernode that has the most.
std::int64_t largestPanels(const FactorPlan& plan)
{
    std::int64_t largest = 0;
    for (int J = 0; J < plan.structure.supernodes(); ++J) {
        const std::int64_t height = plan.structure.height(J), width = plan.structure.width(J);
        largest = std::max(largest, (plan.upperStarts.empty() ? height : 2 * height - width) * width);
    }
    return largest;
}

/// One supernode at work and one read back, in a factorization; one in a solve. Exchanges stay in memory, and
/// so do the check sums of the panels.
template <class T>
std::int64_t leastOutOfCore(const FactorPlan& plan, const ControlBlock& control, const NumericWork& work)
{
    BlockSum kept = exchangeBlocks(control);
    kept.add<std::uint64_t>(plan.structure.supernodes());
    if (!plan.upperStarts.empty()) kept.add<std::uint64_t>(plan.structure.supernodes());
    const std::int64_t panels = BlockSum().add<T>(largestPanels(plan)).kilobytes();
    return kept.kilobytes() + panels + std::max(panels + work.factorization, work.solve);
}

template <class T>
Failure forecastAs(const Arguments& call, Handle handle, NumericMemory& memory)
{
    const FactorPlan plan = planOf(handle);
    const ControlBlock& control = handle.control();
    ListForecast lists;
    if (const Failure failure = FactorLists::forecast(handle, plan, lists)) return failure;
    NumericWork work;
    if (const Failure failure = forecastSolve<T>(call, handle, plan, work.solve)) return failure;
    lists.scaling.add(factorizationBlocks<T>(plan, lists.runs));
    work.factorization =
        lists.lists.kilobytes() + std::max(lists.dealing.kilobytes(), lists.scaling.kilobytes());
    memory.inCore = factorBlocks<T>(control).kilobytes() + std::max(work.factorization, work.solve);
    memory.outOfCore = leastOutOfCore<T>(plan, control, work);
    return {};
}

} // namespace

Failure forecastNumericMemory(const Arguments& call, Handle handle, NumericMemory& memory)
{
    const int kind = elementKind(call.mtype, handle.control()[Word::SinglePrecision] != 0);
    return withElement(kind, [&]<class T>() { return forecastAs<T>(call, handle, memory); });
}

} // namespace Velmar::Lintrix::detail::engine
