// A wave that steepens, u_t + u*u_x = nu*u_xx, by implicit steps in time: each step is a nonlinear system,
// solved by Newton's method, and each of its iterations a linear one. The pattern of the matrix never
// changes: it is analysed once and factorized for each iteration.

#include <lintrix/lintrix.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

using namespace Velmar::Lintrix;

namespace {

constexpr int points = 400, steps = 10;
constexpr double nu = 0.01, h = 1.0 / (points + 1), dt = 0.04;

double left(const Vector& u, int i)
{
    return i > 0 ? u[i - 1] : 1.0;
}
double right(const Vector& u, int i)
{
    return i + 1 < points ? u[i + 1] : 0.0;
}

// What is left of the equations of a step from `before` to u.
Vector residual(const Vector& u, const Vector& before)
{
    Vector r(points);
    for (int i = 0; i < points; ++i) {
        const double l = left(u, i), m = u[i], s = right(u, i);
        r[i] = (m - before[i]) / dt + (s * s - l * l) / (4.0 * h) - nu * (l - 2.0 * m + s) / (h * h);
    }
    return r;
}

SparseMatrix derivative(const Vector& u)
{
    SparseAssembler entries(points, points);
    for (int i = 0; i < points; ++i) {
        if (i > 0) entries.Add(i, i - 1, -left(u, i) / (2.0 * h) - nu / (h * h));
        entries.Add(i, i, 1.0 / dt + 2.0 * nu / (h * h));
        if (i + 1 < points) entries.Add(i, i + 1, right(u, i) / (2.0 * h) - nu / (h * h));
    }
    return entries.Assemble();
}

double largest(const Vector& x)
{
    double size = 0.0;
    for (int i = 0; i < points; ++i) size = std::max(size, std::abs(x[i]));
    return size;
}

// Where the wave has fallen to a half.
double front(const Vector& u)
{
    int i = 0;
    while (i + 1 < points && u[i] > 0.5) ++i;
    return (i + 1) * h;
}

} // namespace

int main()
{
    Vector u(points);
    for (int i = 0; i < points; ++i) u[i] = std::max(0.0, 1.0 - 5.0 * (i + 1) * h);

    LinearSystem system(derivative(u));
    int iterations = 0;
    Verdict worst = Verdict::Accurate;
    for (int step = 1; step <= steps; ++step) {
        const Vector before = u;
        double moved = 1.0;
        while (moved > 1e-6) {
            system.Update(derivative(u));
            const auto answer = system.Solve(residual(u, before));
            worst = std::max(worst, answer.verdict);
            if (!answer.x) return 1;
            Vector change(points);
            for (int i = 0; i < points; ++i) change[i] = (*answer.x)(i, 0);
            for (int i = 0; i < points; ++i) u[i] -= change[i];
            moved = largest(change);
            ++iterations;
        }
        if (step % 2 == 0) std::printf("t = %.2f: front at %.2f\n", step * dt, front(u));
    }
    std::printf("%d steps, %d iterations of Newton's method, all %s\n", steps, iterations,
                std::string(NameOf(worst)).c_str());
    std::printf("analyses %d, factorizations %d\n", system.Analyses(), system.Factorizations());
}
