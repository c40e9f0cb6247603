#include <lintrix/engine/nested_dissection_order.h>

#include <lintrix/engine/analysis/dissection/dissection.h>
#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/services/threads.h>

namespace Velmar::Lintrix {

using namespace detail::engine;

namespace {

Failure orderPattern(const Pattern& pattern, std::span<int> vertexAt)
{
    if (const Failure failure = checkPattern(pattern)) return failure;
    if (vertexAt.empty()) return {};
    SymmetrizedPattern adjacency;
    if (const Failure failure = adjacency.count(pattern)) return failure;
    const auto starts = Scratch<int>::uninitialised(std::ssize(vertexAt) + 1);
    const auto neighbours = Scratch<int>::uninitialised(adjacency.entries());
    const auto positionOf = Scratch<int>::uninitialised(std::ssize(vertexAt));
    if (!starts || !neighbours || !positionOf)
        return outOfMemory(BlockCode::Transient, missingBytes(starts, neighbours, positionOf));
    return dissect(adjacency.write(starts.span(), neighbours.span()), MKL_Get_Max_Threads(),
                   {positionOf.span(), vertexAt});
}

} // namespace

int NestedDissectionOrder(std::span<const std::int32_t> starts, std::span<const std::int32_t> columns,
                          std::span<std::int32_t> vertexAt) noexcept
{
    return static_cast<int>(orderPattern({starts, columns}, vertexAt).error);
}

} // namespace Velmar::Lintrix
