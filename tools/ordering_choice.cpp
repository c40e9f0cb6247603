#include <tools/ordering_choice.h>

#include <algorithm>

namespace Velmar::Lintrix::tools {

namespace {

/// Operations of a factorization that take as long as nested dissection takes for one element, times what
/// must be at stake for a part of them to be worth it. Measured on grids, meshes, networks and circuits.
constexpr double kOperationsPerElement = 60e3;

/// Whether unknown i + 1 has the neighbours of unknown i. A row of the triangle begins with its diagonal,
/// which the row before names as a neighbour.
bool continuesNode(const EngineMatrix& matrix, std::int32_t i)
{
    const auto at = [&](std::int32_t row) { return matrix.ja + (matrix.ia[row] - 1); };
    const std::int32_t skipped = matrix.isTriangle() ? 1 : 0;
    return at(i + 1) - at(i) >= skipped && std::equal(at(i) + skipped, at(i + 1), at(i + 1), at(i + 2));
}

} // namespace

double elementsOfNodes(const EngineMatrix& matrix)
{
    const double n = matrix.n, stored = matrix.entries();
    double nodes = n;
    for (std::int32_t i = 0; i + 1 < matrix.n; ++i) {
        if (continuesNode(matrix, i)) nodes -= 1.0;
    }
    const double elements = matrix.isTriangle() ? 2.0 * stored - n : stored;
    return elements * (nodes / n) * (nodes / n);
}

bool dissectionPays(double gigaflops, const EngineMatrix& matrix, int threads)
{
    return gigaflops * 1e9 > kOperationsPerElement * threads * elementsOfNodes(matrix);
}

} // namespace Velmar::Lintrix::tools
