#include <lintrix/engine/analysis/symbolic/forecast.h>

namespace Velmar::Lintrix::detail::engine {

namespace {

// 1^2 + ... + k^2
double sumOfSquares(double k)
{
    return k * (k + 1.0) * (2.0 * k + 1.0) / 6.0;
}

} // namespace

double operationCount(const FactorStructure& structure, bool unsymmetric, bool complex)
{
    double divisions = 0.0, squares = 0.0;
    for (int J = 0; J < structure.supernodes(); ++J) {
        const double width = structure.width(J), below = structure.height(J) - width;
        // The columns of a supernode have below, ..., below + width - 1 entries under their diagonals.
        divisions += width * (below + (width - 1.0) / 2.0);
        squares += sumOfSquares(below + width - 1.0) - sumOfSquares(below - 1.0);
    }
    return (complex ? 4.0 : 1.0) * (divisions + (unsymmetric ? 2.0 : 1.0) * squares);
}

} // namespace Velmar::Lintrix::detail::engine
