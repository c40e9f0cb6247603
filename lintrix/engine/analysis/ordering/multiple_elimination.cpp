#include <lintrix/engine/analysis/ordering/multiple_elimination.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Velmar::Lintrix::detail::engine {
namespace {

// A pass takes pivots of at most the lowest degree, plus delta, but no more than this share of the lowest.
constexpr int kAllowanceShare = 4;

} // namespace

bool isDense(int degree, int vertices)
{
    return degree > std::max(16.0, 10.0 * std::sqrt(static_cast<double>(vertices)));
}

Failure MultipleElimination::run(const Graph& graph, int delta, std::span<const std::uint8_t> stages,
                                 int bound, std::span<int> order, std::span<int> counts)
{
    stages_ = stages;
    order_ = order;
    counts_ = counts;
    if (const Failure failure = allocate(graph.vertices())) return failure;
    leaveOutDense(graph);
    if (const Failure failure = remaining_.load(graph, dense_.span(), stages, bound)) return failure;
    const int last = stages.empty() ? 0 : *std::ranges::max_element(stages);
    for (int stage = 0; stage <= last; ++stage) eliminateStage(stage, delta);
    if (!WorkScope::goesOn()) return stopped();
    appendDense(graph);
    return {};
}

void MultipleElimination::eliminateStage(int stage, int delta)
{
    const auto n = static_cast<int>(order_.size());
    const WorkMeter asking(0.0); // tells nothing
    for (int v = 0; v < n; ++v) {
        const bool isDue = stages_.empty() || stages_[static_cast<std::size_t>(v)] == stage;
        if (isDue && remaining_.isLive(v)) lists_.insert(v, remaining_.degree(v));
    }
    while (lists_.firstUpTo(n - 1) != DegreeLists::kNone && asking.goesOn()) {
        const int lowest = lists_.lowest();
        eliminatePass(lowest + std::min({delta, lowest / kAllowanceShare, n - 1 - lowest}), asking);
    }
}

Failure MultipleElimination::allocate(int n)
{
    dense_ = Scratch<std::uint8_t>::uninitialised(n);
    touched_ = Scratch<int>::uninitialised(n + std::int64_t{1}); // and a cell that is written alone
    if (!dense_ || !touched_) return outOfMemory(BlockCode::Transient, missingBytes(dense_, touched_));
    return lists_.allocate(n);
}

void MultipleElimination::leaveOutDense(const Graph& graph)
{
    const int n = graph.vertices();
    for (int v = 0; v < n; ++v) dense_[v] = isDense(graph.degree(v), n);
}

inline void MultipleElimination::eliminatePass(int limit, const WorkMeter& asking)
{
    touchedCount_ = 0;
    for (int p = lists_.firstUpTo(limit); p != DegreeLists::kNone && asking.goesOn();
         p = lists_.firstUpTo(limit)) {
        lists_.remove(p);
        eliminate(p);
    }
    for (const int v : touched_.span().first(static_cast<std::size_t>(touchedCount_))) {
        if (remaining_.isLive(v)) lists_.insert(v, remaining_.degree(v));
    }
}

inline void MultipleElimination::eliminate(int p)
{
    for (const int v : remaining_.makeElement(p)) {
        touched_[touchedCount_] = v; // stays if it is new, which is chance
        touchedCount_ += lists_.contains(v);
        lists_.remove(v);
    }
    remaining_.update(p);
    const std::size_t before = ordered_;
    int v = p;
    do {
        order_[ordered_++] = v;
        v = remaining_.nextMember(v);
    } while (v != p);
    cost_.add(static_cast<std::int64_t>(ordered_ - before), remaining_.degree(p));
    if (!counts_.empty()) tellCounts(before, remaining_.degree(p));
}

// Of the vertices that went last, each of which has those behind it among its rows.
inline void MultipleElimination::tellCounts(std::size_t first, int boundary)
{
    for (std::size_t k = first; k < ordered_; ++k) counts_[k] = static_cast<int>(ordered_ - k) + boundary;
}

void MultipleElimination::appendDense(const Graph& graph)
{
    const std::span<int> last = order_.subspan(ordered_);
    for (int v = 0; v < graph.vertices(); ++v) {
        if (dense_[v] != 0) order_[ordered_++] = v;
    }
    std::ranges::sort(last, {}, [&](int v) { return std::pair(graph.degree(v), v); });
    if (!counts_.empty()) std::ranges::fill(counts_.last(last.size()), 0);
    cost_.add(static_cast<std::int64_t>(last.size()), 0);
}

} // namespace Velmar::Lintrix::detail::engine
