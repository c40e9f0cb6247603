// Sound in a duct, frequency by frequency: (K + i*w*C - w^2*M)*p = f by finite differences on 161 x 41
// points. A piston at the left end moves the air, the right end absorbs a part of the sound, the walls are
// rigid:
//
//     piston ]  ~ ~ ~ ~ ~ ~ ~ ~ ~ ~ ~  | impedance 2 (of that of free air)
//
// K comes from -div(grad p), M from the elasticity of the air, C from the right end. All have their places in
// one pattern, which is analysed once; of one matrix the values are written anew for each frequency. The
// level at the right end stands beside that of the theory of plane waves.

#include <lintrix/lintrix.h>

#include <cmath>
#include <cstdio>
#include <numbers>

using namespace Velmar::Lintrix;

namespace {

constexpr int along = 161, across = 41, n = along * across;
constexpr double length = 3.4, h = length / (along - 1); // in m
constexpr double soundSpeed = 340.0;                     // in m/s
constexpr double impedance = 2.0;

int point(int i, int j)
{
    return i * across + j;
}

// Of the strip around a line of points: those at a wall have one half.
double share(int k, int count)
{
    return k == 0 || k + 1 == count ? 0.5 : 1.0;
}

// K alone; each connection of neighbours p and q brings [[1, -1], [-1, 1]] times its width.
CSparseMatrix stiffness()
{
    CSparseAssembler entries(n, n);
    const auto connect = [&entries](int p, int q, double width) {
        entries.Add(p, p, width);
        entries.Add(q, q, width);
        entries.Add(p, q, -width);
        entries.Add(q, p, -width);
    };
    for (int i = 0; i < along; ++i) {
        for (int j = 0; j < across; ++j) {
            if (i + 1 < along) connect(point(i, j), point(i + 1, j), share(j, across));
            if (j + 1 < across) connect(point(i, j), point(i, j + 1), share(i, along));
        }
    }
    return entries.Assemble();
}

// i*w*C - w^2*M at a point: both are diagonal.
Complex dynamics(double omega, int i, int j)
{
    const double k = omega / soundSpeed;
    const double mass = k * k * h * h * share(i, along) * share(j, across);
    const double damping = i + 1 == along ? k / impedance * h * share(j, across) : 0.0;
    return {-mass, damping};
}

// Of a piston whose velocity makes a pressure of 1 in free air.
CVector piston(double omega)
{
    CVector f(n);
    for (int j = 0; j < across; ++j) f[point(0, j)] = Complex(0.0, omega / soundSpeed * h * share(j, across));
    return f;
}

// One wave to the right, and what the end sends back of it.
Complex planeWaveAtTheEnd(double omega)
{
    const double reflection = (impedance - 1.0) / (impedance + 1.0);
    const Complex travelled = std::polar(1.0, -omega / soundSpeed * length);
    return (1.0 + reflection) * travelled / (1.0 - reflection * travelled * travelled);
}

double decibel(Complex pressure)
{
    return 20.0 * std::log10(std::abs(pressure));
}

} // namespace

int main()
{
    const CSparseMatrix K = stiffness();
    CSparseMatrix A = K;
    CSparseSolver solver(A); // refers to A, and sees its values at each Solve

    std::printf("   Hz  level dB  plane wave dB   phase\n");
    for (const double frequency : {20.0, 35.0, 60.0, 90.0, 145.0, 180.0}) {
        const double omega = 2.0 * std::numbers::pi * frequency;
        for (int i = 0; i < along; ++i) {
            for (int j = 0; j < across; ++j) {
                const int p = point(i, j);
                A(p, p) = K(p, p) + dynamics(omega, i, j);
            }
        }
        const Complex pressure = solver.Solve(piston(omega))[point(along - 1, across / 2)];
        std::printf("%5.0f %9.2f %14.2f %7.1f\n", frequency, decibel(pressure),
                    decibel(planeWaveAtTheEnd(omega)), std::arg(pressure) * 180 / std::numbers::pi);
    }
}
