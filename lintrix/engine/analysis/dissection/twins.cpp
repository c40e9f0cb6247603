#include <lintrix/engine/analysis/dissection/twins.h>

#include <lintrix/engine/analysis/ordering/multiple_elimination.h>

#include <algorithm>
#include <numeric>

namespace Velmar::Lintrix::detail::engine {

namespace {

constexpr int kNone = -1;
constexpr double kWorthJoining = 0.85; ///< of the vertices: with more classes the graph is taken as it is

// Equal for twins: the sum over the closed neighbourhood.
unsigned hashOf(const Graph& graph, int v)
{
    const auto list = graph.of(v);
    return std::accumulate(list.begin(), list.end(), static_cast<unsigned>(v),
                           [](unsigned sum, int u) { return sum + static_cast<unsigned>(u); });
}

/// The closed neighbourhood of one vertex, for comparisons.
class Neighbourhood {
public:
    explicit Neighbourhood(std::span<int> marks) : marks_(marks) { std::ranges::fill(marks_, kNone); }
    void take(const Graph& graph, int v)
    {
        if (owner_ == v) return;
        owner_ = v;
        mark(v);
        for (const int u : graph.of(v)) mark(u);
    }
    bool isThatOf(const Graph& graph, int v) const
    {
        return isMarked(v) && std::ranges::all_of(graph.of(v), [&](int u) { return isMarked(u); });
    }

private:
    void mark(int v) { marks_[static_cast<std::size_t>(v)] = owner_; }
    bool isMarked(int v) const { return marks_[static_cast<std::size_t>(v)] == owner_; }

    std::span<int> marks_;
    int owner_ = kNone;
};

} // namespace

// classOf[v], numbered by the first members; kNone of dense vertices.
bool TwinGraph::groupTwins(const Graph& graph, std::span<int> classOf)
{
    const int n = graph.vertices();
    const auto heads = Scratch<int>::uninitialised(n), chain = Scratch<int>::uninitialised(n),
               marks = Scratch<int>::uninitialised(n);
    const auto hashes = Scratch<unsigned>::uninitialised(n);
    if (!heads || !chain || !marks || !hashes) return false;
    std::ranges::fill(heads.span(), kNone);
    Neighbourhood neighbourhood(marks.span());
    classes_ = weight_ = 0;
    for (int v = 0; v < n; ++v) {
        int& name = classOf[static_cast<std::size_t>(v)];
        name = kNone;
        if (isDense(graph.degree(v), n)) continue;
        ++weight_;
        hashes[v] = hashOf(graph, v);
        int& head = heads[hashes[v] % static_cast<unsigned>(n)];
        for (int other = head; other != kNone && name == kNone; other = chain[other]) {
            if (hashes[other] != hashes[v] || graph.degree(other) != graph.degree(v)) continue;
            neighbourhood.take(graph, v);
            if (neighbourhood.isThatOf(graph, other)) name = classOf[static_cast<std::size_t>(other)];
        }
        if (name != kNone) continue;
        name = classes_++;
        chain[v] = head;
        head = v;
    }
    return true;
}

// The dense ones behind the members of all classes, by ascending degree.
void TwinGraph::leaveOutDense(const Graph& graph)
{
    const auto dense = members_.span().subspan(static_cast<std::size_t>(weight_));
    std::ranges::stable_sort(dense, {}, [&](int v) { return graph.degree(v); });
}

bool TwinGraph::writeClasses(const Graph& graph, std::span<const int> classOf)
{
    const int n = graph.vertices();
    members_ = Scratch<int>::uninitialised(n);
    firsts_ = Scratch<int>::uninitialised(std::int64_t{classes_} + 1);
    starts_ = Scratch<int>::uninitialised(std::int64_t{classes_} + 1);
    neighbours_ = Scratch<int>::uninitialised(std::ssize(graph.neighbours));
    const auto marks = Scratch<int>::uninitialised(classes_);
    if (!members_ || !firsts_ || !starts_ || !neighbours_ || !marks) return false;

    std::ranges::fill(firsts_.span(), 0);
    for (const int c : classOf) {
        if (c != kNone) ++firsts_[c + 1];
    }
    std::partial_sum(firsts_.get(), firsts_.get() + classes_ + 1, firsts_.get());
    std::copy_n(firsts_.get(), classes_, marks.get());
    int dense = weight_;
    for (int v = 0; v < n; ++v) {
        const int c = classOf[static_cast<std::size_t>(v)];
        members_[c == kNone ? dense++ : marks[c]++] = v;
    }

    std::ranges::fill(marks.span(), kNone);
    int end = 0;
    for (int c = 0; c < classes_; ++c) {
        starts_[c] = end;
        marks[c] = c;
        for (const int u : graph.of(members_[firsts_[c]])) {
            const int other = classOf[static_cast<std::size_t>(u)];
            if (other == kNone || marks[other] == c) continue;
            marks[other] = c;
            neighbours_[end++] = other;
        }
        std::sort(neighbours_.get() + starts_[c], neighbours_.get() + end);
    }
    starts_[classes_] = end;
    graph_ = {starts_.span(), neighbours_.span().first(static_cast<std::size_t>(end))};
    return true;
}

bool TwinGraph::make(const Graph& graph)
{
    const auto classOf = Scratch<int>::uninitialised(graph.vertices());
    if (!classOf || !groupTwins(graph, classOf.span())) return false;
    graph_ = graph;
    if (weight_ == graph.vertices() && classes_ > kWorthJoining * graph.vertices()) return true;
    if (!writeClasses(graph, classOf.span())) return false;
    leaveOutDense(graph);
    return true;
}

void TwinGraph::expand(std::span<const int> order, std::span<int> vertexAt) const
{
    if (!members_.get()) {
        std::ranges::copy(order, vertexAt.begin());
        return;
    }
    auto end = vertexAt.begin();
    for (const int c : order)
        end = std::copy(members_.get() + firsts_[c], members_.get() + firsts_[c + 1], end);
    std::ranges::copy(members_.span().subspan(static_cast<std::size_t>(weight_)), end);
}

} // namespace Velmar::Lintrix::detail::engine
