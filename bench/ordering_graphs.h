#pragma once
/// @file
/// The graphs of the table of orderings, and the entries of the factor that an ordering leads to.

#include <lintrix/engine/analysis/graph/adjacency.h>
#include <lintrix/engine/analysis/graph/elimination_tree.h>
#include <lintrix/engine/analysis/graph/permuted_graph.h>
#include <lintrix/engine/analysis/graph/postorder.h>
#include <lintrix/engine/analysis/symbolic/column_counts.h>
#include <lintrix/sparse/matrix_market.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace Velmar::Lintrix::bench {

using namespace detail::engine;

/// The pattern of A, from which the graph is made, in compressed rows that count from 0.
struct NamedPattern {
    std::string name;
    std::vector<int> ia{0}, ja{};
    Pattern view() const { return {ia, ja}; }
};

struct OwnedGraph {
    std::vector<int> starts, neighbours;
    Graph view() const { return {starts, neighbours}; }
};

struct OwnedOrdering {
    explicit OwnedOrdering(int n) : positionOf(static_cast<std::size_t>(n)), vertexAt(positionOf) {}
    Ordering view() { return {positionOf, vertexAt}; }
    std::vector<int> positionOf, vertexAt;
};

inline void require(const Failure& failure)
{
    if (!failure) return;
    std::fprintf(stderr, "error %d, internal %d\n", static_cast<int>(failure.error), failure.internal);
    std::exit(1);
}

/// Points that differ by at most 1 in each direction are joined; without `diagonals` in one direction only.
/// The upper triangle.
inline NamedPattern grid(std::string name, int nx, int ny, int nz = 1, bool diagonals = false)
{
    NamedPattern A{std::move(name)};
    const auto inside = [](int i, int n) { return i >= 0 && i < n; };
    for (int v = 0; v < nx * ny * nz; ++v) {
        const int x = v % nx, y = v / nx % ny, z = v / nx / ny;
        for (int step = 14; step < 27; ++step) { // the half of the 27 points that lies ahead
            const int dx = step % 3 - 1, dy = step / 3 % 3 - 1, dz = step / 9 - 1;
            if (!diagonals && std::abs(dx) + std::abs(dy) + std::abs(dz) != 1) continue;
            if (!inside(x + dx, nx) || !inside(y + dy, ny) || !inside(z + dz, nz)) continue;
            A.ja.push_back(v + dx + nx * (dy + ny * dz));
        }
        A.ia.push_back(static_cast<int>(A.ja.size()));
    }
    return A;
}

/// @throws FileFormatException; std::runtime_error for a matrix that is not square
inline NamedPattern load(const std::string& file)
{
    const auto matrix = ReadMatrixMarketTriplets(file);
    if (matrix.rows != matrix.cols) throw std::runtime_error(file + ": not square");
    std::vector<std::vector<int>> rows(static_cast<std::size_t>(matrix.rows));
    for (std::size_t k = 0; k < matrix.rowIndices.size(); ++k)
        rows[static_cast<std::size_t>(matrix.rowIndices[k])].push_back(matrix.colIndices[k]);
    NamedPattern A{std::filesystem::path(file).filename()};
    for (const auto& row : rows) {
        A.ja.insert(A.ja.end(), row.begin(), row.end());
        A.ia.push_back(static_cast<int>(A.ja.size()));
    }
    return A;
}

inline OwnedGraph graphOf(const NamedPattern& A)
{
    SymmetrizedPattern adjacency;
    require(adjacency.count(A.view()));
    OwnedGraph graph{std::vector<int>(A.ia.size()),
                     std::vector<int>(static_cast<std::size_t>(adjacency.entries()))};
    adjacency.write(graph.starts, graph.neighbours);
    return graph;
}

/// nnz(L), once the ordering has proved to be one.
inline double fillOf(const Graph& graph, OwnedOrdering ordering)
{
    const auto n = ordering.vertexAt.size();
    for (std::size_t v = 0; v < n; ++v) {
        const auto position = static_cast<std::size_t>(ordering.positionOf[v]);
        if (position < n && ordering.vertexAt[position] == static_cast<int>(v)) continue;
        std::fputs("not a permutation\n", stderr);
        std::exit(1);
    }
    std::vector<int> parent(n), count(n), starts(n + 1), neighbours(graph.neighbours.size());
    require(eliminationTree(graph, ordering.view(), parent));
    require(columnCounts(permutedGraph(graph, ordering.view(), starts, neighbours), parent, 1, count));
    double sum = 0;
    for (const int entries : count) sum += entries;
    return sum;
}

} // namespace Velmar::Lintrix::bench
