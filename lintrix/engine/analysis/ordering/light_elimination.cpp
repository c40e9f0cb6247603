#include <lintrix/engine/analysis/ordering/light_elimination.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace Velmar::Lintrix::detail::engine {
namespace {

constexpr int kNone = -1;
constexpr int kLongList = 64;

} // namespace

Failure LightElimination::run(const Pattern& pattern, std::span<int> order)
{
    if (const Failure failure = checkPattern(pattern)) return failure;
    const auto cells = 2 * static_cast<std::int64_t>(pattern.ja.size()); // each entry stands in two lists
    if (cells > std::numeric_limits<int>::max()) return overflow();
    if (const Failure failure = allocate(pattern.order(), cells)) return failure;
    joinLists(pattern);
    clearOfRepeats();
    takeLight(order);
    return {};
}

Failure LightElimination::runOn(const Graph& graph, std::span<int> order, std::span<int> counts)
{
    counts_ = counts;
    const auto cells = static_cast<std::int64_t>(graph.neighbours.size());
    if (const Failure failure = allocate(graph.vertices(), cells)) return failure;
    copyLists(graph);
    takeLight(order);
    return {};
}

void LightElimination::takeLight(std::span<int> order)
{
    vertices_ = static_cast<int>(order.size());
    leaveOutDense(order);
    eliminateAll(order);
    entries_ = 0;
    for (const Vertex& vertex : vertexOf_.span()) entries_ += std::max(vertex.degree, 0);
}

Failure LightElimination::allocate(int n, std::int64_t cells)
{
    vertexOf_ = Scratch<Vertex>::uninitialised(n);
    neighbours_ = Scratch<int>::uninitialised(cells);
    light_ = Scratch<int>::uninitialised(n);
    touched_ = Scratch<int>::uninitialised(n);
    const std::int64_t bytes = missingBytes(vertexOf_, neighbours_, light_, touched_);
    return bytes == 0 ? Failure{} : outOfMemory(BlockCode::Transient, bytes);
}

void LightElimination::copyLists(const Graph& graph)
{
    std::ranges::copy(graph.neighbours, neighbours_.get());
    for (int v = 0; v < graph.vertices(); ++v)
        vertexOf_[v] = {graph.starts[v], graph.degree(v), graph.degree(v), 0};
}

// The list of a vertex: its row, and behind it its column.
void LightElimination::joinLists(const Pattern& pattern)
{
    for (Vertex& vertex : vertexOf_.span()) vertex = {0, 0, 0, 0};
    for (const int c : pattern.ja) ++vertexOf_[c].length;
    int start = 0;
    for (int v = 0; v < pattern.order(); ++v) {
        const std::span<const int> row = pattern.row(v);
        const int length = std::exchange(vertexOf_[v].length, static_cast<int>(row.size()));
        vertexOf_[v].start = start;
        std::ranges::copy(row, neighbours_.get() + start);
        start += vertexOf_[v].length + length;
    }
    for (int v = 0; v < pattern.order(); ++v) {
        for (const int c : pattern.row(v)) append(c, v);
    }
}

// And of loops.
void LightElimination::clearOfRepeats()
{
    const std::span<int> metBy = light_.span();
    std::ranges::fill(metBy, kNone);
    for (int v = 0; v < static_cast<int>(metBy.size()); ++v) {
        metBy[v] = v;
        Vertex& vertex = vertexOf_[v];
        int* end = neighbours_.get() + vertex.start;
        for (const int u : listOf(v)) {
            *end = u;
            end += std::exchange(metBy[u], v) != v;
        }
        vertex.degree = vertex.length = static_cast<int>(end - (neighbours_.get() + vertex.start));
    }
}

void LightElimination::leaveOutDense(std::span<int> order)
{
    const int n = vertices_;
    int last = n;
    for (int v = 0; v < n; ++v) {
        if (isDense(vertexOf_[v].length, n)) order[--last] = v;
    }
    const std::span<int> dense = order.subspan(static_cast<std::size_t>(last));
    std::ranges::sort(dense, {}, [&](int v) { return std::pair(vertexOf_[v].length, v); });
    for (const int v : dense) vertexOf_[v].degree = kGone;
    for (const int v : dense) {
        for (const int u : listOf(v)) vertexOf_[u].degree -= vertexOf_[u].degree != kGone;
    }
    vertices_ = last;
    cost_.add(n - last, 0);
    if (!counts_.empty()) std::ranges::fill(counts_.subspan(static_cast<std::size_t>(last)), 0);
}

// Leaves first, until there are none: next to one, a vertex of degree 2 would make an edge that nobody needs.
// A pass takes vertices of degree 2 that are independent of each other, so that chains are halved: the
// elimination tree stays low, and a substitution need not wait for one unknown after the other.
inline void LightElimination::eliminateAll(std::span<int> order)
{
    for (int v = 0; v < static_cast<int>(order.size()); ++v) takeLeaves(v, order);
    std::iota(touched_.span().begin(), touched_.span().end(), 0);
    touchedCount_ = static_cast<int>(order.size());
    for (int count = keepLight(); count > 0; count = keepLight()) {
        const std::span<const int> light = light_.span().first(static_cast<std::size_t>(count));
        touchedCount_ = 0;
        ++pass_;
        for (const int v : light) takeLeaves(v, order);
        for (const int v : light) {
            const Vertex& vertex = vertexOf_[v];
            if (vertex.degree == 2 && vertex.touchedIn != pass_ && !isNextToLongList(v)) eliminate(v, order);
        }
    }
}

// From a leaf on, as long as that leaves another.
inline void LightElimination::takeLeaves(int v, std::span<int> order)
{
    while (v != kNone && (vertexOf_[v].degree == 0 || vertexOf_[v].degree == 1)) v = eliminate(v, order);
}

// Of the vertices touched, those that may go. @return  how many
inline int LightElimination::keepLight()
{
    int count = 0;
    for (const int v : touched_.span().first(static_cast<std::size_t>(touchedCount_))) {
        light_[count] = v;
        count += vertexOf_[v].degree != kGone && vertexOf_[v].degree <= 2;
    }
    return count;
}

// @return  a neighbour that it had, or kNone
inline int LightElimination::eliminate(int v, std::span<int> order)
{
    const auto [a, b] = endsOf(v);
    const int degree = std::exchange(vertexOf_[v].degree, kGone);
    if (!counts_.empty()) counts_[static_cast<std::size_t>(eliminated_)] = degree + 1;
    order[eliminated_++] = v;
    --vertices_;
    cost_.add(1, degree);
    if (a != kNone) touch(a);
    if (b != kNone) touch(b);
    if (b != kNone)
        bridge(a, b);
    else if (a != kNone)
        --vertexOf_[a].degree;
    return a;
}

inline void LightElimination::touch(int v)
{
    if (std::exchange(vertexOf_[v].touchedIn, pass_) != pass_) touched_[touchedCount_++] = v;
}

inline bool LightElimination::isNextToLongList(int v) const
{
    const auto [a, b] = endsOf(v);
    return std::max(vertexOf_[a].length, vertexOf_[b].length) > kLongList;
}

// The neighbours of what has gone are joined.
inline void LightElimination::bridge(int a, int b)
{
    const bool areJoined = dropGone(a, b);
    dropGone(b, a);
    if (areJoined) {
        --vertexOf_[a].degree;
        --vertexOf_[b].degree;
    } else {
        append(a, b);
        append(b, a);
    }
}

// Clears the list of v, and tells whether another vertex is in it.
inline bool LightElimination::dropGone(int v, int sought)
{
    Vertex& vertex = vertexOf_[v];
    int* const begin = neighbours_.get() + vertex.start;
    int* end = begin;
    bool isFound = false;
    for (const int u : listOf(v)) {
        *end = u;
        end += vertexOf_[u].degree != kGone;
        isFound |= u == sought;
    }
    vertex.length = static_cast<int>(end - begin);
    return isFound;
}

inline void LightElimination::append(int v, int u)
{
    Vertex& vertex = vertexOf_[v];
    neighbours_[vertex.start + vertex.length++] = u;
}

inline std::span<int> LightElimination::listOf(int v) const
{
    return {neighbours_.get() + vertexOf_[v].start, static_cast<std::size_t>(vertexOf_[v].length)};
}

// The first two neighbours that are left, kNone where there are fewer.
inline std::pair<int, int> LightElimination::endsOf(int v) const
{
    int first = kNone;
    for (const int u : listOf(v)) {
        if (vertexOf_[u].degree == kGone) continue;
        if (first != kNone) return {first, u};
        first = u;
    }
    return {first, kNone};
}

Graph LightElimination::writeRest(std::span<int> starts, std::span<int> neighbours, std::span<int> names)
{
    const std::span<int> numberOf = light_.span();
    int vertex = 0, next = 0;
    for (int v = 0; v < static_cast<int>(numberOf.size()); ++v) {
        if (vertexOf_[v].degree == kGone) continue;
        names[vertex] = v;
        numberOf[v] = vertex++;
    }
    for (int k = 0; k < vertex; ++k) {
        starts[k] = next;
        for (const int u : listOf(names[k])) {
            if (vertexOf_[u].degree != kGone) neighbours[next++] = numberOf[u];
        }
    }
    starts[vertex] = next;
    return {starts, neighbours};
}

} // namespace Velmar::Lintrix::detail::engine
