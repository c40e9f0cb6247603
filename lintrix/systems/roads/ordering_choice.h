#pragma once
/// @file
/// Minimum degree or nested dissection.

#include <lintrix/services/export.h>
#include <lintrix/systems/system_matrix.h>

namespace Velmar::Lintrix::detail::roads {

/// Which order takes less time in all, that of the ordering included, by one look at the matrix before and by
/// the operations after minimum degree.
///
/// Minimum degree orders any graph in a fraction of the time of nested dissection, and its operations are
/// counted before any is done. Nested dissection then saves half of them or more in a body, a quarter or
/// nothing in a plane, and nothing in a network. Minimum degree is the work of one thread; a dissection, but
/// for its first separator, and the operations are shared by all.
class LINTRIX_TESTABLE OrderingChoice {
public:
    /// Cost: one pass over the matrix.
    OrderingChoice(const EngineMatrix& matrix, int threads);

    /// Whether the matrix is of a body that is large enough to be dissected at once. Its graph is looked at
    /// only where its size and degree allow that; a few hundredths of the time of minimum degree.
    bool isLargeBody() const;
    /// Whether nested dissection is worth its time where minimum degree led to so many operations.
    bool dissectionPays(double gigaflops) const;

    /// Nodes, which unknowns with the same neighbours make up, and elements between them.
    double nodes() const noexcept { return nodes_; }
    double elements() const noexcept { return elements_; }

private:
    EngineMatrix matrix_;
    double nodes_, elements_, threads_;
};

} // namespace Velmar::Lintrix::detail::roads
