// Frequency response of an electrical filter, by one complex system a frequency. A ladder of two coils and
// three capacitors between a source and a load of 1 ohm each:
//
//     source --R--+--L--+--L--+         Kirchhoff's law at the three nodes: Y(i*w)*V = I with the admittances
//                 C     C     C  R      i*w*C, 1/(i*w*L), 1/R. With Butterworth's element values the gain is
//     earth ------+-----+-----+--+      1/sqrt(1 + w^10), which stands beside.

#include <lintrix/lintrix.h>

#include <cmath>
#include <cstdio>
#include <numbers>

using namespace Velmar::Lintrix;

namespace {

constexpr int order = 5; // elements: C, L, C, L, C

// Of element k = 1, 2, ..., in farad or henry.
double element(int k)
{
    return 2.0 * std::sin((2 * k - 1) * std::numbers::pi / (2 * order));
}

void addBetween(CMatrix& Y, int i, int j, Complex admittance)
{
    Y(i, i) += admittance;
    Y(j, j) += admittance;
    Y(i, j) -= admittance;
    Y(j, i) -= admittance;
}

CMatrix admittances(double omega)
{
    const Complex s(0.0, omega);
    CMatrix Y(3, 3);
    for (int node = 0; node < 3; ++node) Y(node, node) += s * element(2 * node + 1);
    for (int node = 0; node < 2; ++node) addBetween(Y, node, node + 1, 1.0 / (s * element(2 * node + 2)));
    Y(0, 0) += 1.0; // the resistor of the source
    Y(2, 2) += 1.0; // and the load
    return Y;
}

} // namespace

int main()
{
    CMatrix current(3, 1);
    current(0, 0) = 2.0; // a source that gives the load 1 volt where nothing is lost
    std::printf("rad/s   gain dB  Butterworth dB   phase\n");
    for (const double omega : {0.5, 0.8, 1.0, 1.25, 2.0, 4.0}) {
        const Complex gain = admittances(omega).Solve(current)(2, 0);
        std::printf("%5.2f %9.4f %15.4f %7.2f\n", omega, 20 * std::log10(std::abs(gain)),
                    -10 * std::log10(1 + std::pow(omega, 2 * order)),
                    std::arg(gain) * 180 / std::numbers::pi);
    }
}
