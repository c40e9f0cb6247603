#include <lintrix/engine/analysis/ordering/quotient_graph.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace Velmar::Lintrix::detail::engine {

Failure QuotientGraph::load(const Graph& graph, std::span<const std::uint8_t> omitted,
                            std::span<const std::uint8_t> stages, int bound)
{
    vertices_ = graph.vertices();
    stages_ = stages;
    bound_ = bound;
    if (const Failure failure = allocate(graph)) return failure;
    copyLists(graph, omitted);
    std::ranges::fill(buckets_.span(), kNone);
    for (int v = 0; v < vertices_; ++v) nextMember_[v] = v;
    return {};
}

// A new boundary has at most n vertices, and together the live lists never outgrow the graph's; the fifth on
// top keeps compactions rare.
Failure QuotientGraph::allocate(const Graph& graph)
{
    const auto edges = static_cast<std::int64_t>(graph.neighbours.size());
    constexpr std::int64_t largest = std::numeric_limits<int>::max();
    if (edges + vertices_ > largest) return overflow();
    capacity_ = static_cast<int>(std::min(edges + edges / 5 + vertices_, largest));

    nodes_ = Scratch<Node>::uninitialised(vertices_);
    weights_ = Scratch<int>::uninitialised(vertices_);
    marks_ = Scratch<int>::uninitialised(vertices_);
    space_ = Scratch<int>::uninitialised(capacity_);
    buckets_ = Scratch<int>::uninitialised(vertices_);
    nextMember_ = Scratch<int>::uninitialised(vertices_);
    const std::int64_t bytes = missingBytes(nodes_, weights_, marks_, space_, buckets_, nextMember_);
    return bytes == 0 ? Failure{} : outOfMemory(BlockCode::Transient, bytes);
}

// All lists in one run where nothing is omitted.
void QuotientGraph::copyLists(const Graph& graph, std::span<const std::uint8_t> omitted)
{
    const bool isWhole = std::ranges::count(omitted, 0) == std::ssize(omitted);
    const auto isOmitted = [&](int v) { return !isWhole && omitted[static_cast<std::size_t>(v)] != 0; };
    if (isWhole) std::ranges::copy(graph.neighbours, space_.get());
    for (int v = 0; v < vertices_; ++v) {
        const int start = end_;
        if (isWhole) {
            end_ += graph.degree(v);
        } else if (!isOmitted(v)) {
            for (const int u : graph.of(v)) {
                if (!isOmitted(u)) space_[end_++] = u;
            }
        }
        const int weight = isOmitted(v) ? 0 : 1;
        remaining_ += weight;
        weights_[v] = weight;
        marks_[v] = 1;
        nodes_[v] = {start, end_ - start, 0, end_ - start, kNone, 0};
    }
    stamp_ = 2;
}

// Marks of living nodes stay below the stamp, and the marks of one pivot reach at most the number of vertices
// beyond it. Where that could pass the bound, all start again at 1.
void QuotientGraph::advanceStamp(int by)
{
    stamp_ += by;
    if (stamp_ < bound_ - vertices_) return;
    for (int& mark : marks_.span()) mark = std::min(mark, 1);
    stamp_ = 2;
}

std::span<int> QuotientGraph::listOf(const Node& node) const
{
    return {space_.get() + node.start, static_cast<std::size_t>(node.length)};
}

std::span<const int> QuotientGraph::makeElement(int p)
{
    Node& pivot = nodes_[p];
    pivotWeight_ = std::exchange(weights_[p], 0);
    remaining_ -= pivotWeight_;
    if (pivot.elements > 0 && roomNeededBy(pivot) > capacity_ - end_) compact();

    const std::span<int> names = listOf(pivot);
    const auto elements = static_cast<std::size_t>(pivot.elements);
    const bool inPlace = elements == 0;
    const int start = inPlace ? pivot.start : end_;
    int end = start, weight = 0;
    for (const int e : names.first(elements)) {
        if (marks_[e] == 0) continue;
        end = gather(listOf(nodes_[e]), end, weight);
        absorb(e);
    }
    end = gather(names.subspan(elements), end, weight);

    if (!inPlace) end_ = end;
    pivot.start = start;
    pivot.length = end - start;
    pivot.degree = weight;
    largestOutside_ = std::max(largestOutside_, weight);
    return listOf(pivot);
}

// Cells that the boundary of the pivot may take, at most.
int QuotientGraph::roomNeededBy(const Node& pivot) const
{
    std::int64_t cells = pivot.length - pivot.elements;
    for (const int e : listOf(pivot).first(static_cast<std::size_t>(pivot.elements)))
        cells += nodes_[e].length;
    return static_cast<int>(std::min<std::int64_t>(cells, remaining_));
}

// Appends the live variables among `names` that are not in the boundary yet, and adds up their weight.
inline int QuotientGraph::gather(std::span<const int> names, int end, int& weight)
{
    for (const int v : names) {
        const int own = weights_[v];
        if (own <= 0) continue;
        weights_[v] = -own;
        weight += own;
        space_[end++] = v;
    }
    return end;
}

// Moves the live lists together at the front. The first cell of each holds the complement of its owner while
// the sweep runs, and the owner's `start` what stood there.
void QuotientGraph::compact()
{
    for (int v = 0; v < vertices_; ++v) {
        Node& node = nodes_[v];
        if (node.length > 0) node.start = std::exchange(space_[node.start], ~v);
    }
    int to = 0;
    for (int from = 0; from < end_;) {
        if (space_[from] >= 0) {
            ++from; // nobody's
            continue;
        }
        Node& owner = nodes_[~space_[from]];
        space_[from] = std::exchange(owner.start, to);
        std::memmove(space_.get() + to, space_.get() + from,
                     sizeof(int) * static_cast<std::size_t>(owner.length));
        from += owner.length;
        to += owner.length;
    }
    end_ = to;
}

std::span<const int> QuotientGraph::update(int p)
{
    Node& pivot = nodes_[p];
    const std::span<int> boundary = listOf(pivot);
    if (boundary.size() == 1) {
        dropIntoOnlyNeighbour(p, boundary[0]);
        return boundary;
    }
    measureOutsides(boundary);
    for (const int v : boundary) {
        if (!refresh(p, v)) goAlong(p, v);
    }
    advanceStamp(largestOutside_ + 1);
    mergeTwins(boundary);

    const auto rest =
        std::remove_if(boundary.begin(), boundary.end(), [&](int v) { return weights_[v] == 0; });
    const auto gone = static_cast<int>(boundary.end() - rest);
    if (pivot.start + pivot.length == end_) end_ -= gone;
    pivot.length -= gone;
    for (const int v : listOf(pivot)) {
        weights_[v] = -weights_[v];
        nodes_[v].degree = std::min(nodes_[v].degree + pivot.degree, remaining_) - weights_[v];
    }
    return listOf(pivot);
}

// A pivot with one neighbour left makes no clique: the neighbour only loses it. The lists that name the pivot
// are cleared of it when they are refreshed, so that a vertex with many leaves is not looked at for each.
inline void QuotientGraph::dropIntoOnlyNeighbour(int p, int v)
{
    nodes_[v].degree -= pivotWeight_;
    weights_[v] = -weights_[v];
    nodes_[p].length = 0;
    marks_[p] = 0;
}

// For each element that the boundary touches: marks_ - stamp_ is the weight of its own boundary outside the
// pivot's.
inline void QuotientGraph::measureOutsides(std::span<const int> boundary)
{
    for (const int v : boundary) {
        const Node& variable = nodes_[v];
        const int weight = -weights_[v], stamp = stamp_;
        for (const int e : listOf(variable).first(static_cast<std::size_t>(variable.elements))) {
            const int mark = marks_[e];
            if (mark == 0) continue;
            marks_[e] = (mark < stamp ? stamp + nodes_[e].degree : mark) - weight;
        }
    }
}

// Clears the list of variable v of all that element p stands for now, puts p in, and sets the degree to a
// bound of what lies outside the boundary of p. False if nothing does. The list does not grow: what led from
// p to v, be it p itself or an element that p absorbed, leaves it.
inline bool QuotientGraph::refresh(int p, int v)
{
    Node& variable = nodes_[v];
    const std::span<int> names = listOf(variable);
    std::span<int> variables = names.subspan(static_cast<std::size_t>(variable.elements));

    Rewrite list = keepElements(variable);
    // If all elements stay, p takes the first variable's cell and that variable the cell of p.
    int displaced = p;
    if (list.end == variable.start + variable.elements) {
        displaced = variables.front();
        variables = variables.subspan(1);
    }
    space_[list.end++] = p;
    variable.elements = list.end - variable.start;
    keepVariables(p, variables, displaced, list);

    variable.length = list.end - variable.start;
    variable.hash = list.hash;
    variable.degree = std::min(variable.degree - pivotWeight_, list.degree);
    return list.degree > 0 || stageOf(v) != stageOf(p);
}

// The elements that reach beyond the pivot's boundary move to the head of the variable's list, the others are
// absorbed.
inline QuotientGraph::Rewrite QuotientGraph::keepElements(const Node& variable)
{
    Rewrite list{variable.start, 0, 0};
    for (const int e : listOf(variable).first(static_cast<std::size_t>(variable.elements))) {
        const int mark = marks_[e];
        if (mark == 0) continue;
        if (mark == stamp_) {
            absorb(e);
            continue;
        }
        list.degree += mark - stamp_;
        list.hash += static_cast<unsigned>(e);
        space_[list.end++] = e;
    }
    return list;
}

// Keeps the live variables outside the boundary of p; `displaced` stands for p.
inline void QuotientGraph::keepVariables(int p, std::span<const int> names, int displaced, Rewrite& list)
{
    Rewrite kept = list; // a copy of its own stays in registers
    for (const int name : names) {
        const int u = name == p ? displaced : name;
        const int weight = weights_[u];
        space_[kept.end] = u;
        kept.take(weight > 0, u, weight);
    }
    list = kept;
}

inline void QuotientGraph::absorb(int element)
{
    marks_[element] = 0;
    nodes_[element].length = 0;
}

// Variable v of the boundary of p is eliminated together with p.
inline void QuotientGraph::goAlong(int p, int v)
{
    const int weight = -std::exchange(weights_[v], 0);
    nodes_[p].degree -= weight;
    remaining_ -= weight;
    nodes_[v].length = 0;
    joinMembers(p, v);
}

// Two rings become one.
void QuotientGraph::joinMembers(int v, int other)
{
    std::swap(nextMember_[v], nextMember_[other]);
}

inline void QuotientGraph::mergeTwins(std::span<const int> boundary)
{
    if (boundary.size() <= kShortBoundary)
        mergeTwinsByPairs(boundary);
    else
        mergeTwinsByBuckets(boundary);
}

// Those of a hash are chained up, the last of them first. Mostly there are none: two of a hash have their
// last bits in common, of which one look tells.
inline void QuotientGraph::mergeTwinsByPairs(std::span<const int> boundary)
{
    std::array<unsigned, kShortBoundary> hashes;
    std::array<std::uint64_t, 4> met{};
    std::uint64_t metTwice = 0;
    for (std::size_t k = 0; k < boundary.size(); ++k) {
        const unsigned hash = hashes[k] = nodes_[boundary[k]].hash;
        std::uint64_t& word = met[hash / 64 % met.size()];
        const std::uint64_t bit = std::uint64_t{1} << hash % 64;
        metTwice |= word & bit;
        word |= bit;
    }
    if (metTwice == 0) return;
    for (std::size_t last = boundary.size(); last-- > 1;) {
        const int v = boundary[last];
        if (weights_[v] == 0) continue;
        int end = v;
        for (std::size_t k = last; k-- > 0;) {
            if (hashes[k] != hashes[last] || weights_[boundary[k]] == 0) continue;
            end = nodes_[end].next = boundary[k];
        }
        nodes_[end].next = kNone;
        mergeTwinsOf(v);
    }
}

void QuotientGraph::mergeTwinsByBuckets(std::span<const int> boundary)
{
    const unsigned mask = std::bit_floor(static_cast<unsigned>(vertices_)) - 1;
    const auto bucketOf = [&](int v) -> int& { return buckets_[nodes_[v].hash & mask]; };
    for (const int v : boundary) {
        if (weights_[v] != 0) nodes_[v].next = std::exchange(bucketOf(v), v);
    }
    for (const int member : boundary) {
        for (int v = std::exchange(bucketOf(member), kNone); v != kNone; v = nodes_[v].next) mergeTwinsOf(v);
    }
}

// Merges into v those chained up behind it that have the same list.
void QuotientGraph::mergeTwinsOf(int v)
{
    Node& first = nodes_[v];
    if (first.next == kNone) return;
    for (const int name : listOf(first)) marks_[name] = stamp_;
    for (int before = v, u = first.next; u != kNone; u = nodes_[u].next) {
        Node& other = nodes_[u];
        if (stageOf(u) != stageOf(v) || !isMarkedTwin(first, other)) {
            before = u;
            continue;
        }
        weights_[v] += std::exchange(weights_[u], 0);
        first.degree = std::min(first.degree, other.degree);
        other.length = 0;
        joinMembers(v, u);
        nodes_[before].next = other.next;
    }
    advanceStamp(1);
}

// Whether the list of b, like that of a, is just what has been marked.
bool QuotientGraph::isMarkedTwin(const Node& a, const Node& b) const
{
    return a.hash == b.hash && a.length == b.length && a.elements == b.elements &&
           std::ranges::all_of(listOf(b), [&](int name) { return marks_[name] == stamp_; });
}

} // namespace Velmar::Lintrix::detail::engine
