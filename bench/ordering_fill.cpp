// Fill of the orderings: entries of the Cholesky factor, beside those of the peers' orderings, and how much
// of the time of the ordering goes into making the graph and cutting it into parts.
//
//     ordering_fill [FILE.mtx ...]     without files: five-point and seven-point grids

#include <lintrix/engine/adjacency.h>
#include <lintrix/engine/column_counts.h>
#include <lintrix/engine/elimination_tree.h>
#include <lintrix/engine/metis_ordering.h>
#include <lintrix/engine/permuted_graph.h>
#include <lintrix/engine/postorder.h>
#include <lintrix/engine/subgraphs.h>
#include <lintrix/engine/tree_parts.h>
#include <lintrix/sparse/matrix_market.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#ifdef LINTRIX_HAS_CHOLMOD
#include <cholmod.h>
#endif

using namespace Velmar::Lintrix;
using namespace Velmar::Lintrix::detail::engine;

namespace {

constexpr int kParts = 4;

struct NamedPattern {
    std::string name;
    std::vector<int> ia{0}, ja{};
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

// The upper triangle of a grid's pattern.
NamedPattern grid(int side, int dimensions)
{
    const int n = dimensions == 2 ? side * side : side * side * side;
    NamedPattern A{std::to_string(dimensions) + "-D grid, side " + std::to_string(side)};
    for (int v = 0; v < n; ++v) {
        A.ja.push_back(v);
        if (v % side + 1 < side) A.ja.push_back(v + 1);
        if (v / side % side + 1 < side) A.ja.push_back(v + side);
        if (v / side / side + 1 < side && dimensions == 3) A.ja.push_back(v + side * side);
        A.ia.push_back(static_cast<int>(A.ja.size()));
    }
    return A;
}

NamedPattern load(const std::string& file)
{
    const auto matrix = ReadMatrixMarketTriplets(file);
    if (matrix.rows != matrix.cols) throw FileFormatException(file, "not square");
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

template <class Work>
double seconds(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void require(const Failure& failure)
{
    if (!failure) return;
    std::fprintf(stderr, "error %d, internal %d\n", static_cast<int>(failure.error), failure.internal);
    std::exit(1);
}

OwnedGraph graphOf(const NamedPattern& A)
{
    SymmetrizedPattern adjacency;
    require(adjacency.count({A.ia, A.ja}));
    OwnedGraph graph{std::vector<int>(A.ia.size()),
                     std::vector<int>(static_cast<std::size_t>(adjacency.entries()))};
    adjacency.write(graph.starts, graph.neighbours);
    return graph;
}

// What nestedDissection does after METIS.
void cutIntoParts(const Graph& graph, Ordering ordering)
{
    std::vector<PositionRange> room(2 * kParts - 1);
    SubgraphList list{room, 0, 0};
    std::vector<int> parent(ordering.vertexAt.size()), rangeOf(parent.size());
    require(eliminationTree(graph, ordering, parent));
    require(cutTree(parent, kParts, rangeOf));
    require(gatherRanges(rangeOf, 2 * kParts - 1, kParts, ordering, list));
}

// Entries of the factor.
double fill(const Graph& graph, OwnedOrdering ordering)
{
    const auto n = ordering.vertexAt.size();
    std::vector<int> parent(n), count(n), starts(n + 1), neighbours(graph.neighbours.size());
    const PositionRange all{0, static_cast<int>(n) - 1};
    require(eliminationTree(graph, ordering.view(), parent));
    require(postorder({&all, 1}, parent, ordering.view()));
    require(columnCounts(permutedGraph(graph, ordering.view(), starts, neighbours), parent, 1, count));
    double sum = 0;
    for (const int entries : count) sum += entries;
    return sum;
}

#ifdef LINTRIX_HAS_CHOLMOD
double fillOfCholmod(const Graph& graph, int method)
{
    cholmod_common common;
    cholmod_start(&common);
    common.nmethods = 1;
    common.method[0].ordering = method;
    const auto n = static_cast<std::size_t>(graph.vertices());
    cholmod_sparse* A =
        cholmod_allocate_sparse(n, n, graph.neighbours.size() + n, 1, 1, 1, CHOLMOD_PATTERN, &common);
    auto* const starts = static_cast<int*>(A->p);
    auto* const rows = static_cast<int*>(A->i);
    int next = 0;
    for (int v = 0; v < graph.vertices(); ++v) { // column v of the upper triangle
        starts[v] = next;
        for (const int u : graph.of(v)) {
            if (u < v) rows[next++] = u;
        }
        rows[next++] = v;
    }
    starts[n] = next;
    cholmod_factor* L = cholmod_analyze(A, &common);
    const double entries = L != nullptr ? common.lnz : NAN;
    cholmod_free_factor(&L, &common);
    cholmod_free_sparse(&A, &common);
    cholmod_finish(&common);
    return entries;
}
#endif

struct Means {
    double logMetis = 0, logAmd = 0;
    int matrices = 0;
};

void measure(const NamedPattern& A, Means& means)
{
    OwnedGraph graph;
    const double graphTime = seconds([&] { graph = graphOf(A); });
    const Graph view = graph.view();
    OwnedOrdering ordering(view.vertices());
    const double metisTime = seconds([&] { require(orderByMetis(view, ordering.view())); });
    const double partsTime = seconds([&] { cutIntoParts(view, ordering.view()); });
    const double entries = fill(view, ordering);
    std::printf("%-28s %8d %9zu %11.0f", A.name.c_str(), view.vertices(), graph.neighbours.size(), entries);
#ifdef LINTRIX_HAS_CHOLMOD
    const double overMetis = entries / fillOfCholmod(view, CHOLMOD_METIS);
    const double overAmd = entries / fillOfCholmod(view, CHOLMOD_AMD);
    std::printf(" %8.3f %8.3f", overMetis, overAmd);
    means.logMetis += std::log(overMetis);
    means.logAmd += std::log(overAmd);
#endif
    ++means.matrices;
    std::printf(" %9.4f %6.1f%% %6.1f%%\n", metisTime, 100 * graphTime / metisTime,
                100 * partsTime / metisTime);
}

} // namespace

int main(int argc, char** argv)
{
    std::printf("%-28s %8s %9s %11s", "matrix", "n", "edges*2", "nnz(L)");
#ifdef LINTRIX_HAS_CHOLMOD
    std::printf(" %8s %8s", "/METIS", "/AMD");
#endif
    std::printf(" %9s %7s %7s\n", "METIS s", "graph", "parts");
    Means means;
    for (int k = 1; k < argc; ++k) {
        try {
            measure(load(argv[k]), means);
        } catch (const FileFormatException& e) {
            std::fprintf(stderr, "%s\n", e.what());
        }
    }
    if (argc == 1) {
        for (const int side : {100, 300, 700}) measure(grid(side, 2), means);
        for (const int side : {20, 40}) measure(grid(side, 3), means);
    }
#ifdef LINTRIX_HAS_CHOLMOD
    std::printf("geometric mean of %d: %.4f of CHOLMOD's METIS, %.4f of its AMD\n", means.matrices,
                std::exp(means.logMetis / means.matrices), std::exp(means.logAmd / means.matrices));
#endif
    return 0;
}
