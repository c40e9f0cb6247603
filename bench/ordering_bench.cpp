// Fill and time of ordering by multiple minimum degree beside those of SuiteSparse's approximate minimum
// degree.
//
//     ordering_bench [FILE.mtx[.gz] ...]
//
// Grids, and the square matrices among the files, by the pattern of A plus its transpose. Each row gives n,
// the edges, nnz(L) and time of the peer, then ratios own/peer: of nnz(L) and time for minimum degree, of
// nnz(L) and time for the constrained form with 8 parts, and the share of the vertices in its separators. The
// last row has the geometric means. Sides are timed in turn, the ratio is the median of pairs.

#include <lintrix/engine/constrained_minimum_degree.h>
#include <lintrix/engine/minimum_degree.h>
#include <lintrix/sparse/file_format_exception.h>
#include <lintrix/sparse/matrix_market.h>

#include "bench/paired.h"
#include "tests/support/factor_fill.h"

#include <amd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace Velmar::Lintrix::bench {
namespace {

using namespace detail::engine;

constexpr int kDelta = 6;
constexpr int kParts = 8;
constexpr int kPairs = 7;

struct Pattern {
    std::vector<int> starts, neighbours;
    Graph view() const { return {starts, neighbours}; }
};

Pattern patternOf(int n, std::vector<std::pair<int, int>> edges)
{
    const std::size_t count = edges.size();
    for (std::size_t k = 0; k < count; ++k) edges.emplace_back(edges[k].second, edges[k].first);
    std::erase_if(edges, [](const auto& edge) { return edge.first == edge.second; });
    std::ranges::sort(edges);
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
    Pattern pattern{std::vector<int>(static_cast<std::size_t>(n) + 1, 0), {}};
    for (const auto& [row, col] : edges) {
        ++pattern.starts[static_cast<std::size_t>(row) + 1];
        pattern.neighbours.push_back(col);
    }
    for (std::size_t v = 0; v < static_cast<std::size_t>(n); ++v) pattern.starts[v + 1] += pattern.starts[v];
    return pattern;
}

// Points that differ by at most 1 in each direction are joined; without `diagonals` in one direction only.
Pattern grid(int nx, int ny, int nz, bool diagonals)
{
    std::vector<std::pair<int, int>> edges;
    const auto inside = [](int i, int n) { return i >= 0 && i < n; };
    for (int v = 0; v < nx * ny * nz; ++v) {
        const int x = v % nx, y = v / nx % ny, z = v / nx / ny;
        for (int step = 14; step < 27; ++step) { // the half of the 27 points that lies ahead
            const int dx = step % 3 - 1, dy = step / 3 % 3 - 1, dz = step / 9 - 1;
            if (!diagonals && std::abs(dx) + std::abs(dy) + std::abs(dz) != 1) continue;
            if (!inside(x + dx, nx) || !inside(y + dy, ny) || !inside(z + dz, nz)) continue;
            edges.emplace_back(v, v + dx + nx * (dy + ny * dz));
        }
    }
    return patternOf(nx * ny * nz, std::move(edges));
}

Pattern patternOf(const MatrixMarketTriplets& matrix)
{
    std::vector<std::pair<int, int>> edges;
    for (std::size_t k = 0; k < matrix.values.size(); ++k)
        edges.emplace_back(matrix.rowIndices[k], matrix.colIndices[k]);
    return patternOf(matrix.rows, std::move(edges));
}

// An ordering with its arrays, and the list of ranges.
struct Result {
    std::vector<int> positionOf, vertexAt;
    std::vector<PositionRange> room = std::vector<PositionRange>(512);
    SubgraphList list{room};

    explicit Result(int n) : positionOf(static_cast<std::size_t>(n)), vertexAt(positionOf) {}
    Ordering ordering() { return {positionOf, vertexAt}; }
};

// nnz(L), once the ordering has proved to be one.
double checkedFill(const Pattern& pattern, Result& result)
{
    for (std::size_t v = 0; v < result.positionOf.size(); ++v) {
        const auto position = static_cast<std::size_t>(result.positionOf[v]);
        if (position < result.vertexAt.size() && result.vertexAt[position] == static_cast<int>(v)) continue;
        std::fputs("not a permutation\n", stderr);
        std::exit(1);
    }
    return static_cast<double>(testing::factorFill(pattern.view(), result.ordering()).entries);
}

void orderByPeer(const Pattern& pattern, Result& result)
{
    amd_order(pattern.view().vertices(), pattern.starts.data(), pattern.neighbours.data(),
              result.vertexAt.data(), nullptr, nullptr);
    for (int k = 0; const int v : result.vertexAt) result.positionOf[static_cast<std::size_t>(v)] = k++;
}

double separatorShare(const Result& result)
{
    const auto parts = result.list.ranges().first(static_cast<std::size_t>(result.list.independent));
    double inParts = 0;
    for (const PositionRange& part : parts) inParts += std::max(0, part.last - part.first + 1);
    return 1 - inParts / static_cast<double>(result.positionOf.size());
}

class Table {
public:
    Table()
    {
        std::printf("%-28s %8s %9s | %10s %8s | %6s %6s | %6s %6s %6s\n", "", "n", "edges", "nnz(L)", "ms",
                    "fill", "time", "fill", "time", "sep");
    }

    void add(const std::string& name, const Pattern& pattern)
    {
        const Graph graph = pattern.view();
        Result peer(graph.vertices()), own(graph.vertices()), cut(graph.vertices());
        std::vector<double> seconds, ratios, cutRatios;
        for (int pair = 0; pair < kPairs; ++pair) {
            seconds.push_back(secondsOf(1, [&] { orderByPeer(pattern, peer); }));
            ratios.push_back(secondsOf(1, [&] { minimumDegree(graph, kDelta, own.ordering()); }) /
                             seconds.back());
            cutRatios.push_back(
                secondsOf(
                    1, [&] { constrainedMinimumDegree(graph, kDelta, kParts, cut.ordering(), cut.list); }) /
                seconds.back());
        }
        const double fill = checkedFill(pattern, peer);
        const std::array row{checkedFill(pattern, own) / fill, medianOf(ratios),
                             checkedFill(pattern, cut) / fill, medianOf(cutRatios)};
        std::printf("%-28s %8d %9zu | %10.0f %8.2f | %6.3f %6.2f | %6.3f %6.2f %6.3f\n", name.c_str(),
                    graph.vertices(), pattern.neighbours.size() / 2, fill, 1e3 * medianOf(seconds), row[0],
                    row[1], row[2], row[3], separatorShare(cut));
        for (std::size_t k = 0; k < row.size(); ++k) logarithms_[k] += std::log(row[k]);
        ++rows_;
    }

    void close() const
    {
        std::array<double, 4> means{};
        for (std::size_t k = 0; k < means.size(); ++k) means[k] = std::exp(logarithms_[k] / rows_);
        std::printf("%-28s %8d %9s | %10s %8s | %6.3f %6.2f | %6.3f %6.2f\n", "geometric mean", rows_, "", "",
                    "", means[0], means[1], means[2], means[3]);
    }

private:
    std::array<double, 4> logarithms_{};
    int rows_ = 0;
};

void addFile(Table& table, const std::string& file)
{
    try {
        const auto matrix = ReadMatrixMarketTriplets(file);
        if (matrix.rows != matrix.cols || matrix.rows < 100) return;
        table.add(file.substr(file.find_last_of('/') + 1), patternOf(matrix));
    } catch (const FileFormatException& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
}

} // namespace
} // namespace Velmar::Lintrix::bench

int main(int count, char** words)
{
    using namespace Velmar::Lintrix::bench;
    Table table;
    for (const int side : {100, 200, 500})
        table.add("grid " + std::to_string(side), grid(side, side, 1, false));
    table.add("grid 200, 9 points", grid(200, 200, 1, true));
    table.add("grid 1000 x 30", grid(1000, 30, 1, false));
    for (const int side : {15, 30, 40})
        table.add("cube " + std::to_string(side), grid(side, side, side, false));
    table.add("cube 20, 27 points", grid(20, 20, 20, true));
    for (int k = 1; k < count; ++k) addFile(table, words[k]);
    table.close();
}
