// Least squares: the line a + b*t through more points than it can meet. Solve takes QR when there are more
// rows than columns, and tells so on request. A failure says what is wrong.
#include <cstdio>
#include <lintrix/lintrix.h>

using namespace Velmar::Lintrix;

int main()
{
    const Matrix A{{1, 0}, {1, 1}, {1, 2}, {1, 3}, {1, 4}}; // a row (1, t) a point
    const Matrix y{{1.1}, {2.9}, {5.2}, {6.8}, {9.0}};

    SolveRoad road;
    const Matrix line = A.Solve(y, road);
    std::printf("y = %.2f + %.2f t, by %s\n", line(0, 0), line(1, 0),
                road == SolveRoad::QR ? "QR" : "another road");

    const Matrix normal = (y - A * line).Transpose() * A; // the residual stands upright on the columns of A
    std::printf("residual times columns: %.1e %.1e\n", normal(0, 0), normal(0, 1));

    try {
        A.Solve(Matrix(3, 1));
    } catch (const SizeMismatchException& failure) {
        std::printf("three values for five points: %s\n", failure.what());
    }
}
