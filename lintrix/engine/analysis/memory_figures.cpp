#include <lintrix/engine/analysis/memory_figures.h>

#include <lintrix/engine/analysis/matching/preordering.h>
#include <lintrix/engine/analysis/symbolic/forecast.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr std::int64_t kInt = sizeof(int), kLong = sizeof(std::int64_t), kReal = sizeof(double);

/// Control block, factor table, permanent structure, update lengths, matching and scaling.
KilobyteSum keptBlocks(const ControlBlock& control, bool matched)
{
    const std::int64_t n = control[Word::Order], supernodes = control[Word::Supernodes];
    const std::int64_t entries = control[Word::MappedEntries];
    const bool symmetric = control[Word::SymmetricStorage] != 0, complex = control[Word::ElementWidth] == 2;
    const std::int64_t panelTables = symmetric ? 2 : 3;
    KilobyteSum sum;
    sum.add(1, sizeof(ControlBlock)).add(std::max(control[Word::Maxfct], 1), sizeof(FactorEntry));
    sum.add(3 * n + 2 * supernodes + 2 * entries + 4 * control[Word::Subgraphs], kInt);
    sum.add(control[WideWord::FactorRowIndices], kInt).add(panelTables * (supernodes + 1), kLong);
    if (!symmetric || complex) sum.add(supernodes, kInt); // update lengths
    if (matched) sum.add(symmetric ? PivotPairs::blockSize(control[Word::Order]) : n, kInt).add(2 * n, kReal);
    return sum;
}

/// Adjacency, ordering, graph in elimination order with tree and counts, supernodes before they are known.
KilobyteSum withWork(KilobyteSum sum, const ControlBlock& control)
{
    const std::int64_t n = control[Word::Order], edges = control[Word::StructureNonZeros];
    return sum.add(n + 1 + edges, kInt)
        .add(2 * n, kInt)
        .add(3 * n + 1 + edges, kInt)
        .add(2 * n + 1, kInt)
        .add(n + 1, kLong);
}

std::int64_t elementSize(const ControlBlock& control)
{
    const std::int64_t real = control[Word::SinglePrecision] != 0 ? sizeof(float) : sizeof(double);
    return real * control[Word::ElementWidth];
}

/// Symmetric indefinite kernels keep copies of a block beside it.
std::int64_t blocksOfWork(const ControlBlock& control)
{
    const int mtype = control[Word::Mtype];
    return mtype == 6 || mtype < 0 ? 4 : 2;
}

} // namespace

MemoryFigures forecastMemory(const ControlBlock& control, bool matched) noexcept
{
    const std::int64_t element = elementSize(control), n = control[Word::Order];
    const std::int64_t work = blocksOfWork(control) * control[WideWord::LargestUpdate];
    const std::int64_t largestPanel = std::int64_t{control[Word::TallestPanel]} * control[Word::WidestPanel];
    const KilobyteSum kept = keptBlocks(control, matched);
    KilobyteSum factors, leastOutOfCore = kept;
    factors.add(control[WideWord::LowerElements], element)
        .add(control[WideWord::UpperElements], element)
        .add(n * std::max(control[Word::RightHandSides], 1) + work, element);
    leastOutOfCore.add(2 * largestPanel + work, element);
    return {.analysisPeak = withWork(kept, control).kilobytes(),
            .analysisKept = kept.kilobytes(),
            .factors = factors.kilobytes(),
            .leastOutOfCore = leastOutOfCore.kilobytes()};
}

} // namespace Velmar::Lintrix::detail::engine
