#include <lintrix/engine/solution/solve_parts.h>

#include <lintrix/engine/analysis/symbolic/permanent_structure.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Velmar::Lintrix::detail::engine {

namespace {

// A solve reads, and a handful of threads read as fast as memory gives; each takes a vector of its own.
constexpr int kMostParts = 16;

/// The block: where the lists start, then their ranges.
struct Lists {
    std::span<int> starts;
    std::span<PositionRange> ranges;

    Lists(int* block, int parts, int count)
        : starts(block, static_cast<std::size_t>(parts) + 2),
          ranges(reinterpret_cast<PositionRange*>(block + starts.size()), static_cast<std::size_t>(count))
    {
    }
    static std::int64_t bytes(int parts, int count)
    {
        return (std::int64_t{parts} + 2) * std::int64_t{sizeof(int)} +
               count * std::int64_t{sizeof(PositionRange)};
    }
};

int partsFor(int threads)
{
    return std::min(threads, kMostParts);
}

Failure makeLists(Handle handle, int parts)
{
    ControlBlock& control = handle.control();
    const FactorStructure structure = PermanentStructure(handle).structure();
    const int supernodes = structure.supernodes();
    handle.release(Slot::SolveParts);
    control[Word::SolveParts] = 0;
    const std::int64_t bytes = Lists::bytes(parts, supernodes);
    if (handle.allocate(Slot::SolveParts, bytes) == nullptr) return outOfMemory(BlockCode::RealWork, bytes);
    const Lists lists(handle.block<int>(Slot::SolveParts), parts, supernodes);
    bool worthWhile = false;
    if (const Failure failure = dealOutParts(structure, parts, lists.starts, lists.ranges, worthWhile))
        return failure;
    control[Word::SolveParts] = parts;
    control[Word::SolveRanges] = worthWhile ? lists.starts.back() : 0;
    handle.shrink(Slot::SolveParts, Lists::bytes(parts, control[Word::SolveRanges]));
    return {};
}

} // namespace

Failure forecastParts(const FactorStructure& structure, int threads, PartForecast& forecast)
{
    const int parts = partsFor(threads), supernodes = structure.supernodes();
    const std::int64_t most = Lists::bytes(parts, supernodes);
    forecast.block = Scratch<int>::uninitialised(most / std::int64_t{sizeof(int)});
    if (!forecast.block) return outOfMemory(BlockCode::Transient, missingBytes(forecast.block));
    const Lists lists(forecast.block.get(), parts, supernodes);
    bool worthWhile = false;
    if (const Failure failure = dealOutParts(structure, parts, lists.starts, lists.ranges, worthWhile))
        return outOfMemory(BlockCode::Transient, failure.bytes);
    if (worthWhile) forecast.parts = {lists.starts, lists.ranges};
    forecast.making.addBytes(most).add(partDealingBlocks(supernodes, parts));
    forecast.lists.addBytes(Lists::bytes(parts, worthWhile ? lists.starts.back() : 0));
    return {};
}

Failure solveParts(Handle handle, int threads, SubstitutionParts& parts)
{
    const ControlBlock& control = handle.control();
    const int wanted = partsFor(threads);
    if (control[Word::SolveParts] != wanted) {
        if (const Failure failure = makeLists(handle, wanted)) return failure;
    }
    if (control[Word::SolveRanges] == 0) return {};
    const Lists lists(handle.block<int>(Slot::SolveParts), wanted, control[Word::SolveRanges]);
    parts = {lists.starts, lists.ranges};
    return {};
}

} // namespace Velmar::Lintrix::detail::engine
