#pragma once
// Minimum degree or nested dissection.

#include <tools/engine_matrix.h>

namespace Velmar::Lintrix::tools {

/// How many elements nested dissection has to look at. Unknowns of one node have the same neighbours, stand
/// side by side, and count once: with c of them a node, elements are fewer by c^2. Cost: one pass.
double elementsOfNodes(const EngineMatrix& matrix);

/// Whether an order by nested dissection is worth its time, from the operations that a factorization in order
/// of minimum degree would take.
///
/// Minimum degree orders any graph in a fraction of the time of nested dissection, and its operations are
/// counted before any is done. Nested dissection then saves a third to a half of them, or nothing on a plane;
/// so it pays where they are many beside the elements of the graph. The order is the work of one thread, the
/// operations are shared by `threads`.
bool dissectionPays(double gigaflops, const EngineMatrix& matrix, int threads);

} // namespace Velmar::Lintrix::tools
