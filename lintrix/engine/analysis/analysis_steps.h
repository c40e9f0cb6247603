#pragma once
/// @file
/// The steps of an analysis: each takes what those before it left in the handle's blocks and fills its own.

#include <lintrix/engine/analysis/graph/graph.h>
#include <lintrix/engine/call/arguments.h>
#include <lintrix/engine/call/failure.h>
#include <lintrix/engine/call/handle.h>
#include <lintrix/engine/call/memory.h>
#include <lintrix/engine/call/timers.h>

#include <span>

namespace Velmar::Lintrix::detail::engine {

/// An analysis under way.
struct Analysis {
    const Arguments& call;
    Handle handle;
    Timers& timers;
    std::span<const int> ia, ja; ///< the caller's pattern, for the moment counted from 0
    Scratch<int> counts = {};    ///< of the columns of the factor, by position, where the ordering knows them

    ControlBlock& control() noexcept { return handle.control(); }
    const ControlBlock& control() const noexcept { return handle.control(); }
    int n() const noexcept { return call.n; }
    int threads() const noexcept { return control()[Word::Threads]; }
    bool symmetricStorage() const noexcept { return control()[Word::SymmetricStorage] != 0; }

    /// The graph in pt[4].
    Graph graph() const;
    /// The order in pt[8], refined step by step, and its subgraphs.
    Ordering ordering();
    std::span<PositionRange> subgraphs();
    /// The row of P A that each row of A becomes, empty where rows stay.
    std::span<const int> columnOfRow() const;
};

/// Fills pt[12] and pt[13], where the type and the settings ask for it.
Failure matchAndScale(Analysis& run);

/// Fills pt[4] with the symmetrized pattern.
Failure buildAdjacency(Analysis& run);

/// Fills pt[8] with the fill-reducing order and the list of subgraphs, and settles the two-level flag.
Failure orderEquations(Analysis& run);

/// From the order to the rows of each supernode, in pt[7]; pt[5] and pt[6] are its work.
Failure factorizeSymbolically(Analysis& run);

/// The maps of A's entries and the lists of the parallel steps, in pt[7].
Failure buildLists(Analysis& run);

} // namespace Velmar::Lintrix::detail::engine
