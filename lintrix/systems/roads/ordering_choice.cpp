#include <lintrix/systems/roads/ordering_choice.h>

#include <lintrix/systems/roads/node_graph.h>

#include <algorithm>

namespace Velmar::Lintrix::detail::roads {

namespace {

/// The time of an ordering in operations of a factorization, by nodes and elements. Measured on grids,
/// meshes, networks and circuits with 35e9 operations a second.
struct OrderingCost {
    double perNode, perElement;

    double of(double nodes, double elements) const { return perNode * nodes + perElement * elements; }
};

constexpr OrderingCost kDissection{80e3, 12e3}, kMinimumDegree{15e3, 1.5e3};

/// Of the time of a dissection, what it takes where threads share it: the first separator is the work of one.
double shareOf(double threads)
{
    constexpr double kFirstSeparator = 0.1;
    return kFirstSeparator + (1.0 - kFirstSeparator) / threads;
}

/// Of the time by minimum degree, what is at least saved where there is something to save. The operations
/// saved are more, but those that are left have smaller supernodes and a lower rate.
constexpr double kSavedPart = 1.0 / 3.0;

// Growth and elements a node of what is dissected at once. Plane graphs have less than 7 elements a node, and
// those with a body's growth are the irregular ones, maps and power networks, with less than 6.
constexpr double kLeastGrowth = 2.5, kMostGrowth = 3.5, kLeastElements = 6.0;

/// Nested dissection saves s*n^2 operations in a body with n nodes of one unknown: both orders take as many
/// but for the factor. Measured, the lower rate of what is left set against it: s is 3 to 5 with 7 elements a
/// node, 2 with 14 (tetrahedra in an irregular body), 12 to 14 with 25. Nothing is known of more: rows so
/// full are often those of a product, which is no body.
double savedFactor(double elementsPerNode)
{
    return std::clamp(elementsPerNode * elementsPerNode / 60.0, 3.0, 14.0);
}

/// Operations of an elimination, beside those of a real symmetric one.
double operationsFactor(int mtype)
{
    const bool symmetric = mtype % 2 == 0;
    const bool complex = mtype != 1 && mtype != 11 && mtype != 2 && mtype != -2;
    return (symmetric ? 1.0 : 2.0) * (complex ? 4.0 : 1.0);
}

} // namespace

OrderingChoice::OrderingChoice(const EngineMatrix& matrix, int threads)
    : matrix_(matrix), nodes_(nodesOf(matrix)), threads_(threads)
{
    const double n = matrix.n, stored = matrix.entries();
    const double perNode = n / nodes_;
    elements_ = (matrix.isTriangle() ? 2.0 * stored - n : stored) / (perNode * perNode);
}

bool OrderingChoice::isLargeBody() const
{
    const double perNode = matrix_.n / nodes_, degree = elements_ / nodes_;
    const double saved =
        savedFactor(degree) * operationsFactor(matrix_.mtype) * matrix_.n * matrix_.n * perNode;
    const double cost =
        shareOf(threads_) * kDissection.of(nodes_, elements_) - kMinimumDegree.of(nodes_, elements_);
    if (degree < kLeastElements || saved < threads_ * cost) return false;
    const double growth = NodeGraph(matrix_).growth();
    return growth >= kLeastGrowth && growth <= kMostGrowth;
}

bool OrderingChoice::dissectionPays(double gigaflops) const
{
    return kSavedPart * gigaflops * 1e9 > threads_ * shareOf(threads_) * kDissection.of(nodes_, elements_);
}

} // namespace Velmar::Lintrix::detail::roads
