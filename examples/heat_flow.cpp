// Many systems with one matrix: factorize once, then each system costs two triangular solves.
//
// A rod of length 1, hot in the middle, its ends held at 0: u_t = u_xx. A step of length dt by the implicit
// Euler rule solves (I + dt*K) u_next = u, with K the second differences on n inner points.
#include <cmath>
#include <cstdio>
#include <lintrix/lintrix.h>
#include <numbers>

using namespace Velmar::Lintrix;

namespace {

// I + dt*K, tridiagonal: dt/h^2 beside the diagonal, spacing h = 1/(n+1).
Matrix stepMatrix(int n, double dt)
{
    const double ratio = dt * (n + 1) * (n + 1);
    Matrix A(n, n, 1.0 + 2.0 * ratio);
    for (int i = 0; i + 1 < n; ++i) A(i, i + 1) = A(i + 1, i) = -ratio;
    return A;
}

Matrix halfWave(int n)
{
    Matrix u(n, 1);
    for (int i = 0; i < n; ++i) u(i, 0) = std::sin(std::numbers::pi * (i + 1) / (n + 1));
    return u;
}

} // namespace

int main()
{
    const int n = 99, steps = 200;
    const double dt = 0.0005;
    const LU factors(stepMatrix(n, dt));

    Matrix u = halfWave(n);
    for (int step = 1; step <= steps; ++step) {
        u = factors.Solve(u);
        if (step % 50 == 0) {
            const double t = step * dt;
            const double exact = std::exp(-std::numbers::pi * std::numbers::pi * t);
            std::printf("t = %.3f  middle %.3f  exact %.3f\n", t, u(n / 2, 0), exact);
        }
    }
}
