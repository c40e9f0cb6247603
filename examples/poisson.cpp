// -div(grad u) = f on the unit square, u = 0 at its edge, by finite differences on 200 x 200 points. The
// matrix is assembled from its entries and solved by the direct solver, for two loads: the second solve uses
// the analysis of the first.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

using namespace Velmar::Lintrix;

namespace {

constexpr int side = 200, n = side * side;
constexpr double h = 1.0 / (side + 1);

SparseMatrix laplacian()
{
    SparseAssembler entries(n, n, {.storage = AssemblyStorage::Symmetric, .lower = LowerEntries::Ignore});
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j) {
            const int k = i * side + j;
            entries.Add(k, k, 4.0 / (h * h));
            if (j + 1 < side) entries.Add(k, k + 1, -1.0 / (h * h));
            if (i + 1 < side) entries.Add(k, k + side, -1.0 / (h * h));
        }
    }
    return entries.Assemble();
}

// u = sin(p*pi*x)*sin(pi*y) and the load that bends the membrane so.
double shape(int p, int k)
{
    const double x = (k % side + 1) * h, y = (k / side + 1) * h;
    return std::sin(p * std::numbers::pi * x) * std::sin(std::numbers::pi * y);
}

} // namespace

int main()
{
    const SparseMatrix A = laplacian();
    SparseSolver solver(A);
    solver.MatrixType(MatrixType::PositiveDefinite);
    solver.FactorizationStrategy(FactorizationStrategy::ComputeAlways);
    solver.FillInReducingMethod(FillInReducingMethod::MinimumDegree);

    for (int p = 1; p <= 2; ++p) {
        const double load = (p * p + 1) * std::numbers::pi * std::numbers::pi;
        Vector f(n);
        for (int k = 0; k < n; ++k) f[k] = load * shape(p, k);

        int percent = 0;
        solver.Progress([&percent](int done) {
            percent = done;
            return true; // false would stop it
        });
        const Vector u = solver.Solve(f);

        double error = 0.0;
        for (int k = 0; k < n; ++k) error = std::max(error, std::abs(u[k] - shape(p, k)));
        std::printf("load %d: %d unknowns, %d %% factorized, error of the scheme %.1e\n", p, n, percent,
                    error);
    }
}
