// Fill and time of every ordering beside SuiteSparse's approximate minimum degree (AMD) and METIS, both as
// CHOLMOD calls them.
//
//     ordering_bench [FILE.mtx[.gz] ...]
//
// Grids, and the square matrices among the files with 100 rows and more, by the pattern of A plus its
// transpose. Each row gives n, the edges, nnz(L) and milliseconds of both peers, then ratios own/peer of
// nnz(L) and time: minimum degree and its form in 8 parts to AMD, nested dissection, its form in 8 parts and
// the dissection that threads share, by one and by two of them, to METIS. "graph" is the time of making the
// graph, in hundredths of METIS's. The last row has the geometric means. The sides are timed in turn, each
// ratio is the median over rounds.

#include "bench/ordering_peer.h"
#include "bench/paired.h"

#include <lintrix/engine/analysis/dissection/dissection.h>
#include <lintrix/engine/analysis/ordering/constrained_minimum_degree.h>
#include <lintrix/engine/analysis/ordering/minimum_degree.h>
#include <lintrix/engine/analysis/ordering/nested_dissection.h>
#include <lintrix/sparse/file_format_exception.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

namespace Velmar::Lintrix::bench {
namespace {

constexpr int kDelta = 6;
constexpr int kParts = 8;
constexpr int kRounds = 5;
constexpr int kFewestRows = 100;

using Order = std::function<void(OwnedOrdering&)>;

Failure withList(int parts, const std::function<Failure(SubgraphList&)>& order)
{
    std::vector<PositionRange> room(static_cast<std::size_t>(subgraphNumbers(parts)) / 2);
    SubgraphList list{room, 0, 0};
    return order(list);
}

Order constrained(const Graph& graph)
{
    return [&graph](OwnedOrdering& ordering) {
        require(withList(kParts, [&](SubgraphList& list) {
            return constrainedMinimumDegree(graph, kDelta, kParts, ordering.view(), list);
        }));
    };
}

Order dissection(const Graph& graph, int parts)
{
    return [&graph, parts](OwnedOrdering& ordering) {
        require(withList(parts, [&](SubgraphList& list) {
            return nestedDissection(graph, parts, ordering.view(), list);
        }));
    };
}

Order shared(const Graph& graph, int threads)
{
    return [&graph, threads](OwnedOrdering& ordering) { require(dissect(graph, threads, ordering.view())); };
}

/// The orderings by column of the table: two peers, then our own for each of them.
constexpr std::size_t kPeers = 2, kSides = 8;
constexpr std::array<std::size_t, kSides> kPeerOf{0, 1, 0, 0, 1, 1, 1, 1};
constexpr std::array<const char*, kSides> kTitles{
    "AMD", "METIS", "minimum degree", "in 8 parts", "dissection", "in 8 parts", "shared", "by 2 threads"};

std::array<Order, kSides> sidesOf(const Graph& graph, CholmodGraph& peer)
{
    return {[&peer](OwnedOrdering& ordering) { peer.orderByMinimumDegree(ordering); },
            [&peer](OwnedOrdering& ordering) { peer.orderByMetis(ordering); },
            [&graph](OwnedOrdering& ordering) { require(minimumDegree(graph, kDelta, ordering.view())); },
            constrained(graph),
            dissection(graph, 1),
            dissection(graph, kParts),
            shared(graph, 1),
            shared(graph, 2)};
}

struct Measured {
    double fill = 0;
    std::vector<double> seconds; ///< by round
};

std::array<Measured, kSides> measure(const Graph& graph)
{
    CholmodGraph peer(graph);
    const auto sides = sidesOf(graph, peer);
    OwnedOrdering ordering(graph.vertices());
    std::array<Measured, kSides> measured;
    for (int round = 0; round < kRounds; ++round) {
        for (std::size_t k = 0; k < kSides; ++k) {
            measured[k].seconds.push_back(secondsOf(1, [&] { sides[k](ordering); }));
            if (round == 0) measured[k].fill = fillOf(graph, ordering);
        }
    }
    return measured;
}

double timeRatio(const Measured& own, const Measured& peer)
{
    std::vector<double> ratios;
    for (std::size_t round = 0; round < own.seconds.size(); ++round)
        ratios.push_back(own.seconds[round] / peer.seconds[round]);
    return medianOf(ratios);
}

class Table {
public:
    Table()
    {
        std::printf("%-26s %8s %9s |", "", "n", "edges");
        for (std::size_t k = 0; k < kSides; ++k) std::printf(k < kPeers ? " %20s |" : " %15s |", kTitles[k]);
        std::printf(" graph\n");
    }

    void add(const NamedPattern& A)
    {
        OwnedGraph graph;
        const double graphSeconds = secondsOf(1, [&] { graph = graphOf(A); });
        const Graph view = graph.view();
        const auto measured = measure(view);
        std::printf("%-26s %8d %9zu |", A.name.c_str(), view.vertices(), view.neighbours.size() / 2);
        for (std::size_t k = 0; k < kPeers; ++k)
            std::printf(" %10.0f %9.2f |", measured[k].fill, 1e3 * medianOf(measured[k].seconds));
        for (std::size_t k = kPeers; k < kSides; ++k) {
            const Measured& peer = measured[kPeerOf[k]];
            addRatios(k, measured[k].fill / peer.fill, timeRatio(measured[k], peer));
        }
        std::printf(" %5.1f\n", 100 * graphSeconds / medianOf(measured[1].seconds));
        std::fflush(stdout);
        ++rows_;
    }

    void close() const
    {
        std::printf("%-26s %8d %9s | %20s | %20s |", "geometric mean", rows_, "", "", "");
        for (std::size_t k = kPeers; k < kSides; ++k)
            std::printf(" %8.4f %6.2f |", std::exp(logFill_[k] / rows_), std::exp(logTime_[k] / rows_));
        std::printf("\n%-26s %8s %9s | %20s | %20s |", "worst", "", "", "", "");
        for (std::size_t k = kPeers; k < kSides; ++k)
            std::printf(" %8.4f %6.2f |", worstFill_[k], worstTime_[k]);
        std::printf("\n");
    }

private:
    void addRatios(std::size_t k, double fill, double time)
    {
        std::printf(" %8.3f %6.2f |", fill, time);
        logFill_[k] += std::log(fill);
        logTime_[k] += std::log(time);
        worstFill_[k] = std::max(worstFill_[k], fill);
        worstTime_[k] = std::max(worstTime_[k], time);
    }

    std::array<double, kSides> logFill_{}, logTime_{}, worstFill_{}, worstTime_{};
    int rows_ = 0;
};

void addFile(Table& table, const std::string& file)
{
    try {
        const NamedPattern A = load(file);
        if (static_cast<int>(A.ia.size()) > kFewestRows) table.add(A);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
}

} // namespace
} // namespace Velmar::Lintrix::bench

int main(int count, char** words)
{
    using namespace Velmar::Lintrix::bench;
    Table table;
    for (const int side : {100, 200, 500}) table.add(grid("grid " + std::to_string(side), side, side));
    table.add(grid("grid 200, 9 points", 200, 200, 1, true));
    table.add(grid("grid 1000 x 30", 1000, 30));
    for (const int side : {15, 30, 40}) table.add(grid("cube " + std::to_string(side), side, side, side));
    table.add(grid("cube 20, 27 points", 20, 20, 20, true));
    for (int k = 1; k < count; ++k) addFile(table, words[k]);
    table.close();
}
