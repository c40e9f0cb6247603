#pragma once
/// @file
/// The orderings of SuiteSparse: approximate minimum degree and METIS, as CHOLMOD calls them.

#include "bench/ordering_graphs.h"

#include <cholmod.h>

namespace Velmar::Lintrix::bench {

/// A graph in CHOLMOD's form.
class CholmodGraph {
public:
    explicit CholmodGraph(const Graph& graph)
    {
        cholmod_start(&common_);
        const auto n = static_cast<std::size_t>(graph.vertices());
        A_ = cholmod_allocate_sparse(n, n, graph.neighbours.size() + n, 1, 1, 1, CHOLMOD_PATTERN, &common_);
        auto* const starts = static_cast<int*>(A_->p);
        auto* const rows = static_cast<int*>(A_->i);
        int next = 0;
        for (int v = 0; v < graph.vertices(); ++v) { // column v of the upper triangle
            starts[v] = next;
            for (const int u : graph.of(v)) {
                if (u < v) rows[next++] = u;
            }
            rows[next++] = v;
        }
        starts[n] = next;
    }
    ~CholmodGraph()
    {
        cholmod_free_sparse(&A_, &common_);
        cholmod_finish(&common_);
    }
    CholmodGraph(const CholmodGraph&) = delete;
    CholmodGraph& operator=(const CholmodGraph&) = delete;

    void orderByMinimumDegree(OwnedOrdering& ordering)
    {
        finish(cholmod_amd(A_, nullptr, 0, ordering.vertexAt.data(), &common_), ordering);
    }
    void orderByMetis(OwnedOrdering& ordering)
    {
        finish(cholmod_metis(A_, nullptr, 0, 0, ordering.vertexAt.data(), &common_), ordering);
    }

private:
    static void finish(int done, OwnedOrdering& ordering)
    {
        if (done == 0) require({Error::Unclassified, 0});
        for (int k = 0; const int v : ordering.vertexAt)
            ordering.positionOf[static_cast<std::size_t>(v)] = k++;
    }

    cholmod_common common_{};
    cholmod_sparse* A_ = nullptr;
};

} // namespace Velmar::Lintrix::bench
