#include <lintrix/engine/memory_forecast.h>

#include <lintrix/engine/factorization/factor_plan.h>
#include <lintrix/engine/factorization/grouped_factorization.h>
#include <lintrix/engine/solution/solve_memory.h>

#include <algorithm>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

/// Kilobytes beside the factor.
struct NumericWork {
    std::int64_t factorization = 0, solve = 0;
};

/// One supernode at work and one read back, in a factorization; one in a solve. Exchanges stay in memory, and
/// so do the check sums of the panels.
template <class T>
std::int64_t leastOutOfCore(const FactorPlan& plan, const ControlBlock& control, const NumericWork& work)
{
    const BlockSum kept = exchangeBlocks(control).addBytes(FactorStore<T>::sumBytes(plan));
    const std::int64_t factorization =
        BlockSum().add<T>(roomOf<T>(PanelSchedule::ofFactorization(plan, 0))).kilobytes();
    const std::int64_t solve =
        BlockSum().add<T>(PanelFeed<T>::roomOf(PanelSchedule::ofSolve(plan, 0))).kilobytes();
    return kept.kilobytes() + std::max(factorization + work.factorization, solve + work.solve);
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
